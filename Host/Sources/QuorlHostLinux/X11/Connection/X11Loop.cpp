// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Connection/X11Loop.h>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <cerrno>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/SigpipeBlock.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>
#include <QuorlKit/Foundation/Check.h>

namespace quorl {

Waker::Waker() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  QUORL_CHECK(descriptor_ >= 0, "no descriptor for a waker");
}

Waker::~Waker() {
  ::close(descriptor_);
}

void Waker::wake() const {
  const std::uint64_t one = 1;
  // A full counter (EAGAIN) wakes just as well.
  [[maybe_unused]] const auto written = ::write(descriptor_, &one, sizeof one);
}

void Waker::drain() const {
  std::uint64_t count = 0;
  [[maybe_unused]] const auto taken = ::read(descriptor_, &count, sizeof count);
}

X11Loop::X11Loop(X11DisplayName displayName, const std::string& threadName, Client& client)
    : displayName_(std::move(displayName)), client_(client) {
  thread_ = std::thread([this] { run(); });
  pthread_setname_np(thread_.native_handle(), threadName.substr(0, 15).c_str());
}

X11Loop::~X11Loop() {
  ending_ = true;
  waker_->wake();
  thread_.join();
}

void X11Loop::post(Task task) {
  {
    const std::scoped_lock lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  waker_->wake();
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
  while (!ending_) {
    runTasks();
    handleEvents();
    const auto deadline = client_.turn();
    dropIfDead();
    if (connection_) {
      xcb_flush(connection_->xcb());
      // Replies read in the turn may have brought events along, for which the descriptor stays silent.
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

void X11Loop::runTasks() {
  std::vector<Task> tasks;
  {
    const std::scoped_lock lock(mutex_);
    tasks.swap(tasks_);
  }
  for (auto& task : tasks) {
    if (ending_) return;
    task();
  }
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
  std::array<pollfd, 2> descriptors{pollfd{waker_->descriptor(), POLLIN, 0}, pollfd{-1, POLLIN, 0}};
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
  if ((descriptors[0].revents & POLLIN) != 0) waker_->drain();
}

}  // namespace quorl
