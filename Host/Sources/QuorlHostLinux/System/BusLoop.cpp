// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/BusLoop.h>

#include <algorithm>
#include <csignal>

#include <poll.h>
#include <pthread.h>

namespace quorl {

namespace {

using Clock = std::chrono::steady_clock;

// A machine without a bus at the start hardly ever gets one.
constexpr std::chrono::seconds reconnectInterval{30};

// For a bus that went away: it is probably restarting.
constexpr std::chrono::seconds restartInterval{1};

int millisecondsUntil(Clock::time_point when) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(when - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, 60'000));
}

}  // namespace

BusLoop::BusLoop(Handlers handlers, Opener open) : handlers_(std::move(handlers)), open_(open) {
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
  posted_.close();
  thread_.join();
}

void BusLoop::post(std::move_only_function<void(sd_bus*)> work) {
  posted_.post([this, work = std::move(work)]() mutable { work(bus_.get()); });
}

void BusLoop::run() {
  while (!posted_.isClosed()) {
    if (!bus_ && Clock::now() >= nextAttempt_) connect();
    if (!posted_.run()) break;
    if (!process()) waitForInput();
  }
  bus_.reset();  // an end of our own is no loss to report
}

void BusLoop::connect() {
  bus_ = open_();
  nextAttempt_ = Clock::now() + reconnectInterval;
  if (bus_) handlers_.connected(bus_.get());
}

void BusLoop::disconnect() {
  if (!bus_) return;
  handlers_.disconnected();
  bus_.reset();
  nextAttempt_ = Clock::now() + restartInterval;
}

// True when a message was handled and more may be pending.
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
  pollfd entries[2] = {{posted_.waker()->descriptor(), POLLIN, 0}, {-1, 0, 0}};
  int timeout = bus_ ? -1 : millisecondsUntil(nextAttempt_);
  if (bus_) {
    entries[1] = {sd_bus_get_fd(bus_.get()), static_cast<short>(sd_bus_get_events(bus_.get())), 0};
    std::uint64_t due = 0;  // microseconds on CLOCK_MONOTONIC, all ones for never
    if (sd_bus_get_timeout(bus_.get(), &due) > 0 && due != UINT64_MAX)
      timeout = millisecondsUntil(Clock::time_point(std::chrono::microseconds(due)));
  }
  ::poll(entries, 2, timeout);
  posted_.waker()->drain();
}

}  // namespace quorl
