// SPDX-License-Identifier: GPL-3.0-or-later
// What it takes to paint a decoded picture of 1920x1080 on one core.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include <quorl-viewer/Picture/PicturePainter.h>

namespace {

using quorl::PixelRect;
using quorl::PixelSize;
using quorl::client::PicturePlanes;
using quorl::client::PlaneFormat;

constexpr PixelSize pictureSize{1'920, 1'080};

struct NoisePicture {
  explicit NoisePicture(PlaneFormat format) {
    const std::size_t pixels = 1'920 * 1'080;
    std::uint32_t state = 1;
    samples.resize(pixels * 3 / 2);
    for (auto& sample : samples) {
      state = state * 1'664'525 + 1'013'904'223;
      sample = static_cast<std::uint8_t>(state >> 24U);
    }
    const bool isPlanar = format == PlaneFormat::i420;
    planes = {.format = format,
              .size = pictureSize,
              .planes = {samples.data(), samples.data() + pixels, samples.data() + pixels * 5 / 4},
              .strides = {1'920, isPlanar ? 960 : 1'920, 960}};
  }

  std::vector<std::uint8_t> samples;
  PicturePlanes planes;
};

void paint(benchmark::State& state, PixelSize size, PlaneFormat format = PlaneFormat::i420) {
  const NoisePicture picture(format);
  const std::size_t stride = static_cast<std::size_t>(size.width) * 4;
  std::vector<std::uint8_t> canvas(stride * static_cast<std::size_t>(size.height));
  quorl::viewer::PicturePainter painter;
  for (auto _ : state) {
    painter.paint(picture.planes, {canvas.data(), stride, size}, PixelRect::of(pictureSize),
                  PixelRect::of(size), PixelRect::of(size));
    benchmark::ClobberMemory();
  }
}

BENCHMARK_CAPTURE(paint, one_to_one, PixelSize{1'920, 1'080})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(paint, one_to_one_nv12, PixelSize{1'920, 1'080}, PlaneFormat::nv12)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(paint, twice, PixelSize{3'840, 2'160})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(paint, scale_1_25, PixelSize{2'400, 1'350})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(paint, scale_1_5, PixelSize{2'880, 1'620})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(paint, down_to_1280x720, PixelSize{1'280, 720})->Unit(benchmark::kMillisecond);

}  // namespace
