// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PseudoTerminalPoller.h>

#include <sys/epoll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include <QuorlHostPosix/ProcessDescriptor.h>
#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

// The data of an event: the token, and its source in the lowest bit. Tokens count from 1, so 0 is free for
// the wake-up.
constexpr std::uint64_t wakeUpData = 0;

epoll_event eventFor(std::uint32_t events, std::uint64_t token, PseudoTerminalPoller::Source source) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = token << 1 | static_cast<std::uint64_t>(source);
  return event;
}

}  // namespace

PseudoTerminalPoller::PseudoTerminalPoller() : epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
  QUORL_CHECK(epoll_.isOpen(), "no descriptor left for the terminals' poller");
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = wakeUpData;
  ::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, wakeUp_.descriptor(), &event);
}

Descriptor PseudoTerminalPoller::openProcess(pid_t pid) {
  return quorl::openProcess(pid);
}

void PseudoTerminalPoller::watchProcess(int process, std::uint64_t token) {
  auto event = eventFor(EPOLLIN | EPOLLONESHOT, token, Source::process);
  ::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, process, &event);
}

void PseudoTerminalPoller::addTerminal(int terminal, std::uint64_t token) {
  auto event = eventFor(EPOLLONESHOT, token, Source::terminal);
  ::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, terminal, &event);
}

void PseudoTerminalPoller::arm(int terminal, std::uint64_t token, Interest interest) {
  if (!interest.reading && !interest.writing) return;  // the last arming was one shot
  const std::uint32_t events =
      EPOLLONESHOT | (interest.reading ? EPOLLIN : 0U) | (interest.writing ? EPOLLOUT : 0U);
  auto event = eventFor(events, token, Source::terminal);
  ::epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, terminal, &event);
}

void PseudoTerminalPoller::remove(int descriptor) {
  ::epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, descriptor, nullptr);
}

void PseudoTerminalPoller::wake() {
  wakeUp_.wake();
}

const std::vector<PseudoTerminalPoller::Event>& PseudoTerminalPoller::wait(
    std::optional<std::chrono::nanoseconds> limit) {
  std::array<epoll_event, 64> ready{};
  timespec timeOut{};
  if (limit) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(*limit);
    timeOut.tv_sec = seconds.count();
    timeOut.tv_nsec = (*limit - seconds).count();
  }
  // epoll_pwait2(2): milliseconds are too coarse for gathering output. Kernels before 5.11 lack the call.
  int count = -1;
  if (hasFineWait_) {
    count = ::epoll_pwait2(epoll_.get(), ready.data(), static_cast<int>(ready.size()),
                           limit ? &timeOut : nullptr, nullptr);
    hasFineWait_ = count >= 0 || errno != ENOSYS;
  }
  if (!hasFineWait_) {
    const int milliseconds =
        limit ? static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(*limit).count()) : -1;
    count = ::epoll_wait(epoll_.get(), ready.data(), static_cast<int>(ready.size()), milliseconds);
  }
  events_.clear();
  for (int i = 0; i < count; ++i) {
    const std::uint64_t data = ready[static_cast<std::size_t>(i)].data.u64;
    if (data == wakeUpData) {
      wakeUp_.drain();
    } else {
      events_.push_back({data >> 1, static_cast<Source>(data & 1)});
    }
  }
  return events_;
}

}  // namespace quorl
