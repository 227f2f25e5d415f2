// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>

#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlHostLinux/Pictures/FrameConverter.h>
#include <QuorlHostLinux/Pictures/PicturePool.h>
#include <QuorlHostLinux/X11/Capture/CursorOverlay.h>
#include <QuorlHostLinux/X11/Capture/SharedImage.h>
#include <QuorlHostLinux/X11/Connection/X11Loop.h>
#include <QuorlHostPosix/Waker.h>

namespace quorl {

/// Calls a stream's handlers, and none of them after the stop.
///
/// *Queue*: any thread; handlers run on the queue given.
class StreamCallbacks : public std::enable_shared_from_this<StreamCallbacks> {
 public:
  StreamCallbacks(SerialQueue queue, CaptureStream::Handlers handlers)
      : queue_(std::move(queue)), handlers_(std::move(handlers)) {}

  void picture(CapturedPicture picture);
  void placed(const PointRect& rect);
  void stopped(const PortError& error);
  void complete(CaptureStream::Completion completion, std::expected<void, PortError> result);
  /// Waits for a handler that is running on another thread, and prevents later ones.
  void silence();

 private:
  void post(std::move_only_function<void()> call);

  SerialQueue queue_;
  CaptureStream::Handlers handlers_;
  std::recursive_mutex mutex_;  // held while a handler runs; a handler may stop its own stream
  bool isSilent_ = false;       // guarded by mutex_
};

/// Passes requests for pictures from any thread to the capture's thread.
class PictureRequests {
 public:
  explicit PictureRequests(std::shared_ptr<Waker> waker) : waker_(std::move(waker)) {}

  /// Wakes the capture if it had a change and no request.
  void add() {
    if (state_.exchange(State::asked) == State::missed) waker_->wake();
  }
  /// When false, the next request wakes the capture.
  bool isAsked() {
    State none = State::none;
    state_.compare_exchange_strong(none, State::missed);
    return none == State::asked;
  }
  void take() { state_ = State::none; }

 private:
  enum class State : std::uint8_t { none, missed, asked };

  const std::shared_ptr<Waker> waker_;
  std::atomic<State> state_{State::asked};
};

/// One stream of a source: its pace, its pictures, and the changes not yet delivered.
///
/// *Queue*: the capture's thread.
class CaptureOutlet {
 public:
  CaptureOutlet(std::uint64_t id, const CaptureSettings& settings, std::shared_ptr<StreamCallbacks> callbacks,
                std::shared_ptr<PictureRequests> requests, std::shared_ptr<Waker> waker);

  std::uint64_t id() const { return id_; }
  bool showsCursor() const { return settings_.showsCursor; }
  StreamCallbacks& callbacks() { return *callbacks_; }

  void setSettings(const CaptureSettings& settings);

  /// True when a picture may be delivered: it was requested, the interval has passed and the pool has one
  /// free.
  bool isOpen(SteadyTime now);
  SteadyTime nextTurn() const { return nextTurn_; }

  /// Adds changes, in the coordinates of the source's image.
  void sourceChanged(const DirtyRegion& changed) { pending_.add(changed); }
  /// Adds a change of the cursor. `area` is the part of the root that the source shows.
  void cursorChanged(const CursorOverlay& cursor, const PixelRect& area);

  bool hasPending() const { return isFirst_ || !pending_.isEmpty(); }
  /// Delivers the current source, once its pixels have arrived. Only while open and pending.
  void deliver(SharedImage& source, SteadyTime now);

 private:
  void prepare(PixelSize source);

  std::uint64_t id_;
  CaptureSettings settings_;
  std::shared_ptr<StreamCallbacks> callbacks_;
  std::shared_ptr<PictureRequests> requests_;
  std::shared_ptr<Waker> waker_;

  std::optional<FrameConverter> converter_;
  std::optional<PicturePool> pool_;
  PixelSize sourceSize_;
  DirtyRegion pending_;  // of the source
  bool isFirst_ = true;
  SteadyTime nextTurn_{};
  std::uint64_t cursorGeneration_ = 0;
  PixelRect cursorRect_;  // in the source's image, as last shown
};

}  // namespace quorl
