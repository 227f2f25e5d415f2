// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/WindowSession.h>

#include <xcb/xcb.h>

namespace quorl {

class WindowSession::Ending {
 public:
  explicit Ending(std::shared_ptr<Wait> wait) : wait_(std::move(wait)) {}
  Ending(Ending&& other) noexcept = default;
  Ending& operator=(Ending&&) = delete;
  ~Ending() {
    if (!wait_) return;
    const std::scoped_lock lock(wait_->mutex);
    wait_->isDone = true;
    wait_->changed.notify_all();
  }

  /// False when the caller waits no longer.
  bool begin() {
    const std::scoped_lock lock(wait_->mutex);
    return !wait_->isGivenUp;
  }

 private:
  std::shared_ptr<Wait> wait_;
};

WindowSession::WindowSession(X11DisplayName displayName) {
  loop_ = std::make_unique<X11Loop>(std::move(displayName), "quorl-windows", *this);
}

// Every change has been confirmed by a reply, so the end of the connection loses none. The loop is the last
// member and ends first. It is not reset: a question that still runs uses the pointer.
WindowSession::~WindowSession() {
  cut_.cut();
}

void WindowSession::run(const std::shared_ptr<Wait>& wait,
                        std::move_only_function<void(X11Connection&)> question) {
  if (isStalled()) return;
  loop_->post([this, ending = Ending(wait), question = std::move(question)]() mutable {
    if (!ending.begin()) return;
    runningSince_ = std::chrono::steady_clock::now().time_since_epoch().count();
    if (const auto connection = loop_->connection()) question(**connection);
    runningSince_ = 0;
  });
  std::unique_lock lock(wait->mutex);
  wait->isGivenUp = !wait->changed.wait_for(lock, answerLimit, [&] { return wait->isDone; });
}

bool WindowSession::isStalled() const {
  const SteadyTime::rep since = runningSince_;
  if (since == 0) return false;
  return std::chrono::steady_clock::now() - SteadyTime(SteadyTime::duration(since)) > answerLimit;
}

const std::vector<Monitor>& WindowSession::monitors(X11Connection& connection) {
  if (!areMonitorsKnown_) {
    monitors_ = readMonitors(connection);
    areMonitorsKnown_ = true;
  }
  return monitors_;
}

std::uint64_t WindowSession::eventCount() {
  const std::scoped_lock lock(eventMutex_);
  return eventCount_;
}

void WindowSession::waitForEvent(std::uint64_t seen, SteadyTime end) {
  std::unique_lock lock(eventMutex_);
  eventArrived_.wait_until(lock, end, [&] { return eventCount_ > seen; });
}

void WindowSession::connected(X11Connection& connection) {
  connection_ = &connection;
  cut_.opened(connection);
  selectMonitorEvents(connection);
}

void WindowSession::handle(const void* event) {
  if (isMonitorEvent(event, *connection_)) areMonitorsKnown_ = false;
  const std::scoped_lock lock(eventMutex_);
  ++eventCount_;
  eventArrived_.notify_all();
}

void WindowSession::lost() {
  cut_.closed();
  connection_ = nullptr;
  areMonitorsKnown_ = false;
}

}  // namespace quorl
