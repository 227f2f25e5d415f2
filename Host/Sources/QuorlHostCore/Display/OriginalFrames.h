// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// The frames that windows had before any stream fitted them, shared by the streams of one host. A stream
/// that replaces another, or a second client, would else take a fitted frame for the original one.
///
/// *Queue*: any thread.
/// *Blocking*: `Window::lock` waits while another stream fits or restores the same window; callers use
/// `Scheduler::blocking`.
/// *Ownership*: a window's record is shared by the streams that use it and ends with the last of them.
/// *Lifetime*: records may outlive this.
class OriginalFrames {
 public:
  /// One window's record. All operations but `lock` require the lock.
  class Window {
   public:
    [[nodiscard]] std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }
    /// Counts another stream that has fitted the window and returns the original frame: `current` for the
    /// first one.
    PointRect hold(const PointRect& current);
    /// Returns whether it was the last one, which gives the window back.
    bool release();

   private:
    std::mutex mutex_;
    std::optional<PointRect> frame_;
    int holders_ = 0;
  };

  std::shared_ptr<Window> of(std::uint32_t windowID);

 private:
  std::mutex mutex_;
  std::map<std::uint32_t, std::weak_ptr<Window>> windows_;  // under mutex_
};

}  // namespace quorl
