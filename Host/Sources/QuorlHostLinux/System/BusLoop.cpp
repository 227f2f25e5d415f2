// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/BusLoop.h>

#include <algorithm>
#include <csignal>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

using Clock = std::chrono::steady_clock;

// A machine that has no bus at start hardly ever gets one.
constexpr std::chrono::seconds reconnectInterval{30};

// After a bus that was there went away: it is being restarted.
constexpr std::chrono::seconds restartInterval{1};

int millisecondsUntil(Clock::time_point when) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(when - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, 60'000));
}

}  // namespace

BusLoop::BusLoop(Handlers handlers)
    : handlers_(std::move(handlers)), wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  QUORL_CHECK(wakeUp_.isOpen(), "no descriptors left for the system bus");
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this] {
    pthread_setname_np(pthread_self(), "quorl-bus");
    run();
  });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

BusLoop::~BusLoop() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  eventfd_write(wakeUp_.get(), 1);
  thread_.join();
}

void BusLoop::post(std::move_only_function<void(sd_bus*)> work) {
  {
    std::lock_guard lock(mutex_);
    posted_.push_back(std::move(work));
  }
  eventfd_write(wakeUp_.get(), 1);
}

void BusLoop::run() {
  for (;;) {
    {
      std::lock_guard lock(mutex_);
      if (stopping_) break;
    }
    if (!bus_ && Clock::now() >= nextAttempt_) connect();
    runPosted();
    if (!process()) waitForInput();
  }
  bus_.reset();  // an end of our own is no loss that anybody has to hear of
}

void BusLoop::connect() {
  bus_ = openSystemBus();
  nextAttempt_ = Clock::now() + reconnectInterval;
  if (bus_) handlers_.connected(bus_.get());
}

void BusLoop::disconnect() {
  if (!bus_) return;
  handlers_.disconnected();
  bus_.reset();
  nextAttempt_ = Clock::now() + restartInterval;
}

void BusLoop::runPosted() {
  for (;;) {
    std::move_only_function<void(sd_bus*)> work;
    {
      std::lock_guard lock(mutex_);
      if (posted_.empty() || stopping_) return;
      work = std::move(posted_.front());
      posted_.pop_front();
    }
    work(bus_.get());
  }
}

// True when something was done and more may be waiting.
bool BusLoop::process() {
  if (!bus_) return false;
  const int result = sd_bus_process(bus_.get(), nullptr);
  if (result < 0 || !sd_bus_is_open(bus_.get())) {
    disconnect();
    return false;
  }
  return result > 0;
}

void BusLoop::waitForInput() {
  pollfd entries[2] = {{wakeUp_.get(), POLLIN, 0}, {-1, 0, 0}};
  int timeout = bus_ ? -1 : millisecondsUntil(nextAttempt_);
  if (bus_) {
    entries[1] = {sd_bus_get_fd(bus_.get()), static_cast<short>(sd_bus_get_events(bus_.get())), 0};
    std::uint64_t due = 0;  // microseconds on CLOCK_MONOTONIC, all ones for never
    if (sd_bus_get_timeout(bus_.get(), &due) > 0 && due != UINT64_MAX)
      timeout = millisecondsUntil(Clock::time_point(std::chrono::microseconds(due)));
  }
  ::poll(entries, 2, timeout);
  eventfd_t ignored = 0;
  eventfd_read(wakeUp_.get(), &ignored);
}

}  // namespace quorl
