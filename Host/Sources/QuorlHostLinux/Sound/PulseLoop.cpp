// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sound/PulseLoop.h>

#include <algorithm>
#include <csignal>

#include <pthread.h>

namespace quorl {

namespace {

// pa_mainloop_prepare takes microseconds as an int.
constexpr std::chrono::microseconds longestWait = std::chrono::minutes(10);

}  // namespace

PulseLoop::PulseLoop(std::function<void()> atEnd) : atEnd_(std::move(atEnd)) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this] {
    pthread_setname_np(pthread_self(), "quorl-sound");
    run();
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

PulseLoop::~PulseLoop() {
  posted_.close();
  thread_.join();
}

void PulseLoop::post(PostedWork::Work work) {
  posted_.post(std::move(work));
}

PulseLoop::Timer PulseLoop::after(std::chrono::milliseconds delay, std::function<void()> work) {
  const std::uint64_t id = ++lastTimer_;
  timers_[id] = {Clock::now() + delay, std::move(work)};
  return {*this, id};
}

void PulseLoop::run() {
  const auto drain = [](pa_mainloop_api*, pa_io_event*, int, pa_io_event_flags_t, void* posted) {
    static_cast<PostedWork*>(posted)->waker()->drain();
  };
  pa_io_event* const wakeups =
      loop_ ? api()->io_new(api(), posted_.waker()->descriptor(), PA_IO_EVENT_INPUT, drain, &posted_)
            : nullptr;
  while (wakeups && posted_.run()) {
    runDueTimers();
    if (pa_mainloop_prepare(loop_.get(), microsecondsToWait()) < 0) break;
    if (pa_mainloop_poll(loop_.get()) < 0) break;
    if (pa_mainloop_dispatch(loop_.get()) < 0) break;
  }
  if (wakeups) api()->io_free(wakeups);
  atEnd_();
}

void PulseLoop::runDueTimers() {
  const auto now = Clock::now();
  for (;;) {
    const auto due =
        std::ranges::find_if(timers_, [now](const auto& timer) { return timer.second.when <= now; });
    if (due == timers_.end()) return;
    const auto work = std::move(due->second.work);
    timers_.erase(due);
    work();
  }
}

int PulseLoop::microsecondsToWait() const {
  std::chrono::microseconds wait = timers_.empty() ? std::chrono::microseconds(-1) : longestWait;
  const auto now = Clock::now();
  for (const auto& [id, timer] : timers_)
    wait = std::clamp(std::chrono::ceil<std::chrono::microseconds>(timer.when - now),
                      std::chrono::microseconds(0), wait);
  return static_cast<int>(wait.count());
}

}  // namespace quorl
