// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <thread>
#include <utility>

#include <QuorlHostLinux/Sound/PulseHandles.h>
#include <QuorlHostPosix/PostedWork.h>

namespace quorl {

/// The thread of all calls to the sound server's library. It sleeps while there is nothing to do.
///
/// *Queue*: `post` from any thread; everything else, all posted work and all callbacks of the library on the
/// loop's thread.
/// *Lifetime*: destruction drops posted work, runs `atEnd` on the thread and joins it; never on that thread.
class PulseLoop {
 public:
  using Clock = std::chrono::steady_clock;

  explicit PulseLoop(std::function<void()> atEnd);
  PulseLoop(const PulseLoop&) = delete;
  PulseLoop& operator=(const PulseLoop&) = delete;
  ~PulseLoop();

  void post(PostedWork::Work work);

  /// nullptr if the library has no memory for it.
  pa_mainloop_api* api() const { return loop_ ? pa_mainloop_get_api(loop_.get()) : nullptr; }

  /// A timer of this loop; the destruction of the returned object cancels it.
  class Timer {
   public:
    Timer() = default;
    Timer(PulseLoop& loop, std::uint64_t id) : loop_(&loop), id_(id) {}
    Timer(Timer&& other) noexcept : loop_(std::exchange(other.loop_, nullptr)), id_(other.id_) {}
    Timer& operator=(Timer&& other) noexcept {
      std::swap(loop_, other.loop_);
      std::swap(id_, other.id_);
      return *this;
    }
    ~Timer() {
      if (loop_) loop_->timers_.erase(id_);
    }

   private:
    PulseLoop* loop_ = nullptr;
    std::uint64_t id_ = 0;
  };
  [[nodiscard]] Timer after(std::chrono::milliseconds delay, std::function<void()> work);

 private:
  struct Pending {
    Clock::time_point when;
    std::function<void()> work;
  };

  void run();
  void runDueTimers();
  int microsecondsToWait() const;

  const std::function<void()> atEnd_;
  PostedWork posted_;
  PulseMainloopHandle loop_{pa_mainloop_new()};
  std::map<std::uint64_t, Pending> timers_;
  std::uint64_t lastTimer_ = 0;
  std::thread thread_;
};

}  // namespace quorl
