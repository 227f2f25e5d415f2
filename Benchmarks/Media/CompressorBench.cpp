// SPDX-License-Identifier: GPL-3.0-or-later
// One picture of 1920x1080 through each software encoder: wall time, and the processor's as a counter.
#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <functional>

#include <QuorlHostCore/Display/RateControl.h>
#include <QuorlHostLinux/Media/LinuxVideoCompressors.h>
#include <QuorlHostLinux/Media/PictureDetail.h>

#include "SyntheticScreen.h"

namespace {

using namespace quorl;
using test::SyntheticScreen;

constexpr PixelSize size{1920, 1080};
constexpr std::chrono::microseconds interval{16'667};

double processorSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// What one picture changes; empty for everything.
using Change = std::function<std::vector<PixelRect>(SyntheticScreen&)>;

void encodePictures(benchmark::State& state, VideoCodec codec, const Change& change, PictureContent content) {
  std::size_t bytes = 0;
  CompressorSpecification specification;
  specification.size = size;
  specification.codec = codec;
  const auto factory = makeLinuxVideoCompressors();
  auto made =
      factory->make(specification, [&](const CompressedPicture& picture) { bytes += picture.data->size(); });
  if (!made) {
    state.SkipWithError(made.error().description.c_str());
    return;
  }
  VideoCompressor& compressor = **made;
  compressor.setRates(compressionRates(size, 60, 0.8));
  compressor.prepare();
  SyntheticScreen screen(size);
  CompressionRequest request{.image = screen.picture()};
  compressor.encode(request);
  request.content = content;
  bytes = 0;
  double processor = 0;
  for (auto _ : state) {
    state.PauseTiming();
    request.changed = change(screen);
    request.image = screen.picture();
    request.presentationTime += interval;
    const double before = processorSeconds();
    state.ResumeTiming();
    compressor.encode(request);
    state.PauseTiming();
    processor += processorSeconds() - before;
    state.ResumeTiming();
  }
  const auto pictures = static_cast<double>(state.iterations());
  state.counters["bytes"] = static_cast<double>(bytes) / pictures;
  state.counters["processor_ms"] = processor * 1000 / pictures;
}

const Change typing = [](SyntheticScreen& screen) { return std::vector{screen.typeCharacter()}; };
const Change scrolling = [](SyntheticScreen& screen) {
  screen.scroll(8);
  return std::vector<PixelRect>{};
};
const Change redrawing = [](SyntheticScreen& screen) {
  screen.redraw();
  return std::vector<PixelRect>{};
};
const Change nothing = [](SyntheticScreen&) { return std::vector<PixelRect>{}; };

#define QUORL_ENCODE(name, change, content)                                                         \
  BENCHMARK_CAPTURE(encodePictures, h264_##name, VideoCodec::h264, change, PictureContent::content) \
      ->Unit(benchmark::kMillisecond)                                                               \
      ->UseRealTime();                                                                              \
  BENCHMARK_CAPTURE(encodePictures, hevc_##name, VideoCodec::hevc, change, PictureContent::content) \
      ->Unit(benchmark::kMillisecond)                                                               \
      ->UseRealTime()

QUORL_ENCODE(typing, typing, changed);
QUORL_ENCODE(scrolling, scrolling, changed);
QUORL_ENCODE(redrawing, redrawing, changed);
QUORL_ENCODE(repeating, nothing, repeated);

void measureDetail(benchmark::State& state) {
  const auto picture = SyntheticScreen(size).picture();
  for (auto _ : state) benchmark::DoNotOptimize(PictureDetail::ofWhole(*picture).bitsAt(22));
}
BENCHMARK(measureDetail)->Unit(benchmark::kMicrosecond);

}  // namespace
