// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostLinux/X11/Capture/X11ScreenCapture.h>

namespace quorl::test {

/// The colour of one pixel of a picture as 0xRRGGBB, converted from BT.601 limited range.
std::uint32_t colorAt(const PictureBuffer& picture, int x, int y);

/// The largest difference of any colour channel.
int distance(std::uint32_t a, std::uint32_t b);

/// Records what a stream delivers, and waits for it.
class Deliveries {
 public:
  CaptureStream::Handlers handlers();
  /// Requests another picture after each. The stream ends before this object.
  void follow(CaptureStream* stream);

  /// Waits for a picture after the first `seen` ones that satisfies `condition`, and returns it.
  std::optional<CapturedPicture> waitFor(const std::function<bool(const CapturedPicture&)>& condition,
                                         std::size_t seen = 0);
  std::optional<CapturedPicture> waitForColor(int x, int y, std::uint32_t color, std::size_t seen = 0);
  std::optional<PortError> waitForStop();
  /// Waits until the display is reported at this place.
  bool waitForPlace(const PointRect& rect);
  std::size_t count();
  std::vector<CapturedPicture> all();
  /// Releases the memory of all pictures.
  void release();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<CapturedPicture> pictures_;
  std::vector<PointRect> places_;
  std::optional<PortError> stopped_;
  CaptureStream* stream_ = nullptr;
};

/// A capture of one display, with a scheduler and a queue.
class CaptureHarness {
 public:
  explicit CaptureHarness(X11DisplayName name) : capture(std::move(name)) {}
  explicit CaptureHarness(const std::string& display)
      : CaptureHarness(X11DisplayName([display] { return display; })) {}

  ShareableContent content();
  std::expected<FilterGeometry, PortError> geometry(const CaptureFilter& filter);
  std::expected<std::unique_ptr<CaptureStream>, PortError> open(const CaptureFilter& filter,
                                                                const CaptureSettings& settings,
                                                                Deliveries& deliveries);
  /// Starts a capture, waits for the result and ends it.
  std::expected<void, PortError> startResult(const CaptureFilter& filter, const CaptureSettings& settings,
                                             Deliveries& deliveries);
  /// Opens, starts and follows, and waits for the first picture.
  std::unique_ptr<CaptureStream> start(const CaptureFilter& filter, const CaptureSettings& settings,
                                       Deliveries& deliveries);

  PoolScheduler scheduler;
  SerialQueue queue{scheduler, "test.stream", QueueRank::stream};
  X11ScreenCapture capture;
};

}  // namespace quorl::test
