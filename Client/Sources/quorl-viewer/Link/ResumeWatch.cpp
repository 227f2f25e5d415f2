// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/ResumeWatch.h>

#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <utility>

namespace quorl::viewer {
namespace {

constexpr auto noticeable = std::chrono::seconds(1);

client::Clock::duration timeOf(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace

client::Clock::duration ResumeWatch::systemSleptTime() {
  return timeOf(CLOCK_BOOTTIME) - timeOf(CLOCK_MONOTONIC);
}

ResumeWatch::ResumeWatch(SleptTime sleptTime)
    : sleptTime_(std::move(sleptTime)),
      known_(sleptTime_()),
      timer_(::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC)) {
  arm();
}

void ResumeWatch::arm() {
  itimerspec never{};
  never.it_value.tv_sec = std::time(nullptr) + 10LL * 365 * 24 * 3600;
  ::timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &never, nullptr);
}

bool ResumeWatch::hasSlept() {
  std::uint64_t expirations = 0;
  if (timer_.isOpen() && (::read(timer_.get(), &expirations, sizeof expirations) >= 0 || errno == ECANCELED))
    arm();
  const auto slept = sleptTime_();
  if (slept - known_ < noticeable) return false;
  known_ = slept;
  return true;
}

}  // namespace quorl::viewer
