// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>
#include <QuorlHostPosix/PostedWork.h>

namespace quorl {

using SteadyTime = std::chrono::steady_clock::time_point;

/// A thread with a connection. It waits for tasks, for events of the server and for one deadline.
///
/// *Queue*: `post` from any thread; everything else, and every call to the client, on the loop's thread.
/// *Ownership*: owns the thread and the connection.
/// *Lifetime*: destruction waits for the task that is running. Pending tasks are destroyed without running.
/// The client outlives the loop.
class X11Loop {
 public:
  class Client {
   public:
    virtual ~Client() = default;
    virtual void connected(X11Connection& connection) = 0;
    /// An event of the server; `event` points to an xcb_generic_event_t.
    virtual void handle(const void* event) = 0;
    /// Called after every batch of events and tasks. Returns when to call it again without any.
    virtual std::optional<SteadyTime> turn() = 0;
    /// The server has gone, or the loop ends. The connection is destroyed afterwards.
    virtual void lost() = 0;
  };
  using Task = PostedWork::Work;

  X11Loop(X11DisplayName displayName, const std::string& threadName, Client& client);
  ~X11Loop();
  X11Loop(const X11Loop&) = delete;
  X11Loop& operator=(const X11Loop&) = delete;

  void post(Task task);
  std::shared_ptr<Waker> waker() const { return tasks_.waker(); }

  /// Connects if there is no connection, and waits for that.
  std::expected<X11Connection*, PortError> connection();

  /// How often the thread has woken up, for tests of idleness.
  std::uint64_t wakeups() const { return wakeups_; }

 private:
  void run();
  void handleEvents();
  void dropIfDead();
  void wait(std::optional<SteadyTime> deadline);

  X11DisplayName displayName_;
  Client& client_;
  PostedWork tasks_;
  std::atomic<std::uint64_t> wakeups_{0};

  std::unique_ptr<X11Connection> connection_;  // loop's thread
  std::thread thread_;
};

}  // namespace quorl
