// SPDX-License-Identifier: GPL-3.0-or-later
// The cost of a change of the screen from the server's report to the picture, on the display that DISPLAY
// names. The argument is the side of the changed block in pixels; 0 means the whole screen.
#include <condition_variable>
#include <mutex>

#include <benchmark/benchmark.h>
#include <xcb/xcb.h>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostLinux/Pictures/FrameConverter.h>
#include <QuorlHostLinux/Pictures/PicturePool.h>
#include <QuorlHostLinux/X11/Capture/SharedImage.h>
#include <QuorlHostLinux/X11/Capture/X11ScreenCapture.h>
#include <QuorlHostLinux/X11/Displays/DisplayList.h>

namespace quorl {
namespace {

PixelRect blockOf(const benchmark::State& state, PixelSize whole) {
  const int side = static_cast<int>(state.range(0));
  return side == 0 ? PixelRect{0, 0, whole.width, whole.height} : PixelRect{200, 200, side, side};
}

void grab(benchmark::State& state) {
  auto connection = X11Connection::open(displayNameFromEnvironment());
  if (!connection) return state.SkipWithError("no display");
  const PixelSize size = (*connection)->rootSize();
  auto image = SharedImage::make(**connection, size);
  const PixelRect block = blockOf(state, size);
  for (auto _ : state) {
    (*image)->request((*connection)->root(), 0, 0, std::span(&block, 1));
    if (!(*image)->awaitAll()) state.SkipWithError("no grab");
  }
}
BENCHMARK(grab)->Arg(64)->Arg(0)->Unit(benchmark::kMicrosecond);

void convert(benchmark::State& state, PixelSize target) {
  const PixelSize size{1920, 1080};
  std::vector<std::uint8_t> pixels(1920UL * 1081 * 4, 0x55);
  const PixelView source{pixels.data(), 1920UL * 4, size};
  FrameConverter converter(size, target);
  PicturePool pool(target, 1, [] {});
  const auto pass = [&](const DirtyRegion& changed) {
    pool.invalidate(converter.update(source, changed));
    pool.fill([&](const auto& rects, const auto& planes) {
      converter.convert(source, rects, planes, [](int /*bottom*/) {});
    });
  };
  pass(DirtyRegion(PixelRect{0, 0, 1920, 1080}));
  const DirtyRegion block(blockOf(state, size));
  for (auto _ : state) pass(block);
}
BENCHMARK_CAPTURE(convert, sameSize, PixelSize{1920, 1080})->Arg(64)->Arg(0)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(convert, scaled, PixelSize{1280, 720})->Arg(64)->Arg(0)->Unit(benchmark::kMicrosecond);

/// From a program's drawing request to the picture on the stream's queue.
void drawToPicture(benchmark::State& state) {
  PoolScheduler scheduler;
  const SerialQueue queue(scheduler, "bench.stream", QueueRank::stream);
  X11ScreenCapture capture;
  auto connection = X11Connection::open(displayNameFromEnvironment());
  if (!connection) return state.SkipWithError("no display");
  xcb_connection_t* xcb = (*connection)->xcb();
  const PixelSize size = (*connection)->rootSize();
  std::mutex mutex;
  std::condition_variable arrived;
  std::uint64_t pictures = 0;
  auto stream = capture.makeStream(
      DisplayFilter{displayIDOf(readMonitors(**connection).at(0).name)},
      {.size = size, .minimumFrameInterval = std::chrono::microseconds(0), .showsCursor = true}, queue,
      {.picture =
           [&](CapturedPicture) {
             const std::scoped_lock lock(mutex);
             ++pictures;
             arrived.notify_one();
           },
       .placed = {},
       .stopped = {}});
  if (!stream) return state.SkipWithError("no capture");
  const auto waitFor = [&](std::uint64_t count) {
    std::unique_lock lock(mutex);
    arrived.wait(lock, [&] { return pictures >= count; });
  };
  (*stream)->start({});
  waitFor(1);
  const PixelRect block = blockOf(state, size);
  const std::uint32_t context = xcb_generate_id(xcb);
  const std::uint32_t inferiors = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
  xcb_create_gc(xcb, context, (*connection)->root(), XCB_GC_SUBWINDOW_MODE, &inferiors);
  std::uint32_t color = 0;
  for (auto _ : state) {
    std::uint64_t before = 0;
    {
      const std::scoped_lock lock(mutex);
      before = pictures;
    }
    color += 0x010305;
    xcb_change_gc(xcb, context, XCB_GC_FOREGROUND, &color);
    const xcb_rectangle_t area{static_cast<std::int16_t>(block.x), static_cast<std::int16_t>(block.y),
                               static_cast<std::uint16_t>(block.width),
                               static_cast<std::uint16_t>(block.height)};
    xcb_poly_fill_rectangle(xcb, (*connection)->root(), context, 1, &area);
    xcb_flush(xcb);
    waitFor(before + 1);
  }
}
BENCHMARK(drawToPicture)->Arg(64)->Arg(0)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
}  // namespace quorl

BENCHMARK_MAIN();
