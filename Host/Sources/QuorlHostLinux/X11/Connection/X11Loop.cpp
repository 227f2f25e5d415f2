// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Connection/X11Loop.h>

#include <poll.h>
#include <pthread.h>
#include <cerrno>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/SigpipeBlock.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>
#include <QuorlKit/Foundation/Check.h>

namespace quorl {

X11Loop::X11Loop(X11DisplayName displayName, const std::string& threadName, Client& client)
    : displayName_(std::move(displayName)), client_(client) {
  thread_ = std::thread([this] { run(); });
  pthread_setname_np(thread_.native_handle(), threadName.substr(0, 15).c_str());
}

X11Loop::~X11Loop() {
  tasks_.close();
  thread_.join();
}

void X11Loop::post(Task task) {
  tasks_.post(std::move(task));
}

std::expected<X11Connection*, PortError> X11Loop::connection() {
  dropIfDead();
  if (!connection_) {
    auto opened = X11Connection::open(displayName_);
    if (!opened) return std::unexpected(opened.error());
    connection_ = std::move(*opened);
    client_.connected(*connection_);
  }
  return connection_.get();
}

void X11Loop::run() {
  const SigpipeBlock noSignal;
  while (tasks_.run()) {
    handleEvents();
    const auto deadline = client_.turn();
    dropIfDead();
    if (connection_) {
      xcb_flush(connection_->xcb());
      // Reading replies in the turn may have queued events, for which the descriptor does not become
      // readable.
      XcbReply<xcb_generic_event_t> event(xcb_poll_for_queued_event(connection_->xcb()));
      if (event) {
        client_.handle(event.get());
        continue;
      }
    }
    wait(deadline);
  }
  if (connection_) client_.lost();
  connection_.reset();
}

void X11Loop::handleEvents() {
  while (connection_) {
    const XcbReply<xcb_generic_event_t> event(xcb_poll_for_event(connection_->xcb()));
    if (!event) break;
    client_.handle(event.get());
  }
  dropIfDead();
}

void X11Loop::dropIfDead() {
  if (!connection_ || connection_->isAlive()) return;
  client_.lost();
  connection_.reset();
}

void X11Loop::wait(std::optional<SteadyTime> deadline) {
  std::array<pollfd, 2> descriptors{pollfd{tasks_.waker()->descriptor(), POLLIN, 0}, pollfd{-1, POLLIN, 0}};
  if (connection_) descriptors[1].fd = connection_->descriptor();
  timespec left{};
  if (deadline) {
    const auto span = std::max(*deadline - std::chrono::steady_clock::now(), SteadyTime::duration::zero());
    left.tv_sec = std::chrono::floor<std::chrono::seconds>(span).count();
    left.tv_nsec = (span - std::chrono::seconds(left.tv_sec)).count();
  }
  const int ready = ::ppoll(descriptors.data(), descriptors.size(), deadline ? &left : nullptr, nullptr);
  ++wakeups_;
  QUORL_CHECK(ready >= 0 || errno == EINTR, "waiting on own descriptors failed");
  if ((descriptors[0].revents & POLLIN) != 0) tasks_.waker()->drain();
}

}  // namespace quorl
