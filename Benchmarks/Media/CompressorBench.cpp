// SPDX-License-Identifier: GPL-3.0-or-later
// One picture of 1920x1080 through each software encoder: wall time, with processor time as a counter.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <functional>
#include <optional>

#include <QuorlHostCore/Display/RateControl.h>
#include <QuorlHostLinux/Media/EncodingPace.h>
#include <QuorlHostLinux/Media/PictureDetail.h>
#include <QuorlHostLinux/Media/VideoBackends.h>

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

// The last backend of the codec, even if it is too slow to be used here.
const VideoBackend& software(VideoCodec codec) {
  const auto backends = videoBackends();
  return *std::find_if(backends.rbegin(), backends.rend(),
                       [codec](const VideoBackend& backend) { return backend.codec == codec; });
}

// The rectangles that one picture changes; empty for the whole picture.
using Change = std::function<std::vector<PixelRect>(SyntheticScreen&)>;

void encodePictures(benchmark::State& state, VideoCodec codec, const Change& change, PictureContent content) {
  std::size_t bytes = 0;
  CompressorSpecification specification;
  specification.size = size;
  specification.codec = codec;
  auto made = software(codec).make(specification,
                                   [&](const CompressedPicture& picture) { bytes += picture.data->size(); });
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

// The measurement that decides whether an encoder is fast enough for a moving screen, and its own cost.
void measurePace(benchmark::State& state, VideoCodec codec) {
  std::optional<std::chrono::microseconds> time;
  for (auto _ : state) {
    EncodingPace pace([] {
      return std::chrono::duration_cast<std::chrono::microseconds>(
          std::chrono::steady_clock::now().time_since_epoch());
    });
    time = pace.pictureTime(software(codec), size);
  }
  if (time) state.counters["picture_ms"] = static_cast<double>(time->count()) / 1000;
}
BENCHMARK_CAPTURE(measurePace, h264, VideoCodec::h264)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(measurePace, hevc, VideoCodec::hevc)->Unit(benchmark::kMillisecond)->UseRealTime();

void measureDetail(benchmark::State& state) {
  const auto picture = SyntheticScreen(size).picture();
  for (auto _ : state) benchmark::DoNotOptimize(PictureDetail::ofWhole(*picture).bitsAt(22));
}
BENCHMARK(measureDetail)->Unit(benchmark::kMicrosecond);

}  // namespace
