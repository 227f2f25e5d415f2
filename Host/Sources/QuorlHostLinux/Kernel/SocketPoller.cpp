// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketPoller.h>

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <limits>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

namespace {

constexpr std::uint64_t wakeUpToken = 0;
constexpr std::size_t maxEvents = 256;

epoll_event eventFor(std::uint32_t events, std::uint64_t token) {
  epoll_event event{};
  event.events = events | EPOLLET;
  event.data.u64 = token;
  return event;
}

}  // namespace

SocketPoller::SocketPoller() : epoll_(::epoll_create1(EPOLL_CLOEXEC)) {
  QUORL_CHECK(epoll_.isOpen(), "no descriptor left for the sockets' poller");
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = wakeUpToken;
  ::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, wakeUp_.descriptor(), &event);
}

bool SocketPoller::add(int socket, std::uint64_t token) {
  epoll_event event = eventFor(EPOLLIN | EPOLLRDHUP, token);
  return ::epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, socket, &event) == 0;
}

void SocketPoller::watchRoom(int socket, std::uint64_t token) {
  epoll_event event = eventFor(EPOLLIN | EPOLLRDHUP | EPOLLOUT, token);
  ::epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, socket, &event);
}

void SocketPoller::wake() {
  wakeUp_.wake();
}

const std::vector<SocketPoller::Event>& SocketPoller::wait(std::optional<std::chrono::milliseconds> limit) {
  std::array<epoll_event, maxEvents> ready;
  constexpr std::int64_t longest = std::numeric_limits<int>::max();
  const int milliseconds =
      limit ? static_cast<int>(std::clamp<std::int64_t>(limit->count(), 0, longest)) : -1;
  const int count = ::epoll_wait(epoll_.get(), ready.data(), static_cast<int>(ready.size()), milliseconds);
  events_.clear();
  for (int index = 0; index < count; ++index) {
    const epoll_event& event = ready[static_cast<std::size_t>(index)];
    if (event.data.u64 == wakeUpToken) {
      wakeUp_.drain();
      continue;
    }
    events_.push_back({.token = event.data.u64,
                       .isReadable = (event.events & EPOLLIN) != 0,
                       .isWritable = (event.events & EPOLLOUT) != 0,
                       .hasEnded = (event.events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0});
  }
  return events_;
}

}  // namespace quorl
