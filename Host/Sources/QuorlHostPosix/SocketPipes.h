// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostPosix/SocketPipe.h>

namespace quorl {

/// A thread that moves the bytes of all joined sockets, watches listeners and runs work. It does not exist
/// before the first of these.
///
/// *Queue*: every operation may be called from any thread.
/// *Blocking*: `stop` waits for the thread.
/// *Ownership*: owns the joined sockets.
/// *Lifetime*: after `stop` all joined sockets are closed, pending work is dropped, and nothing can be begun.
class SocketPipes {
 public:
  /// Ends a pipe early. Does nothing once it has ended.
  class Handle {
   public:
    Handle(SocketPipes& pipes, std::uint64_t number) : pipes_(pipes), number_(number) {}
    void cancel();

   private:
    friend class SocketPipes;
    SocketPipes& pipes_;
    const std::uint64_t number_;
    std::atomic<bool> hasEnded_{false};
  };

  struct Request {
    Descriptor first;
    Descriptor second;
    NetworkConnection::Filter filter;
    SerialQueue queue;  // for `ended`
    std::function<void()> ended;
  };

  ~SocketPipes() { stop(); }
  void stop();
  std::shared_ptr<Handle> join(Request request);

  using Work = std::move_only_function<void()>;
  /// Runs `work` on the thread, in the order of the calls.
  void post(Work work);

  /// Calls `changed` on the thread when a socket has become readable since the last call. Returns a number
  /// for `unwatch`, or 0 if the system refuses.
  std::uint64_t watch(int socket, std::function<void()> changed);
  /// To be called before the socket is closed. A call may be under way on the thread.
  void unwatch(std::uint64_t number);

 private:
  using Clock = std::chrono::steady_clock;

  struct Entry {
    std::shared_ptr<Handle> handle;
    SocketPipe pipe;
    SerialQueue queue;
    std::function<void()> ended;
    bool isQueued = false;  // in `busy_`
  };
  // A socket whose peer has not closed it yet.
  struct Lingering {
    Descriptor socket;
    std::size_t allowance = 0;
  };
  struct Deadline {
    Clock::time_point when;
    std::uint64_t token = 0;
  };
  enum class Report : std::uint8_t { yes, no };

  static std::uint64_t tokenOf(std::uint64_t number, SocketPipe::Side side) {
    return number << 1 | static_cast<std::uint64_t>(side);
  }

  void requestEnd(std::uint64_t number, Report report);
  void wake();
  std::uint64_t nextNumber();  // with `mutex_` held; begins the thread

  // On the thread.
  void loop();
  bool takeRequests();
  void runWork();
  void runBusy();
  std::optional<std::chrono::milliseconds> limit();
  void handle(const SocketPoller::Event& event);
  void run(std::uint64_t number, Entry& entry);
  void end(std::uint64_t number, Report report);
  void linger(std::uint64_t token, Descriptor socket);
  void discardInput(std::uint64_t token);
  void closeExpired();

  SocketPoller poller_;

  std::mutex mutex_;  // guards these
  std::thread thread_;
  std::atomic<std::thread::id> threadID_;
  bool isStopping_ = false;
  std::uint64_t lastNumber_ = 0;
  std::vector<std::pair<std::uint64_t, std::unique_ptr<Entry>>> arrived_;
  std::vector<std::pair<std::uint64_t, Report>> endings_;
  std::vector<std::pair<std::uint64_t, std::function<void()>>> watches_;  // none: ends
  std::vector<Work> work_;

  // Of the thread.
  std::unordered_map<std::uint64_t, std::unique_ptr<Entry>> entries_;
  std::unordered_map<std::uint64_t, std::function<void()>> watched_;
  std::vector<std::uint64_t> busy_;
  std::unordered_map<std::uint64_t, Lingering> lingering_;
  std::deque<Deadline> deadlines_;  // of `lingering_`, in order
  std::vector<std::uint8_t> scratch_;
};

}  // namespace quorl
