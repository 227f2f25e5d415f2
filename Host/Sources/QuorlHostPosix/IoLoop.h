// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <QuorlHostPosix/LoopScheduler.h>
#include <QuorlHostPosix/SocketPipes.h>

namespace quorl {

/// The thread that watches the sockets, and the state that all sockets of a `SocketNetwork` share. Internal
/// to the adapter.
///
/// *Queue*: every operation may be called from any thread. Handlers given to Asio run on the loop's thread
/// and only ever hold their socket weakly, so that the loop owns no connection. *Ownership*: shared by the
/// network and its sockets. *Lifetime*: `stop` ends the thread; afterwards sockets can still be used and
/// closed, but nothing is watched.
class IoLoop {
 public:
  using Socket = boost::asio::ip::tcp::socket;
  using Buffer = std::unique_ptr<std::uint8_t[]>;

  /// The most bytes of one receive.
  static constexpr std::size_t bufferSize = 524'288;

  IoLoop();
  ~IoLoop();
  void stop();

  boost::asio::io_context& context() { return context_; }

  /// A buffer for one receive. A few returned buffers are kept.
  Buffer takeBuffer();
  void giveBack(Buffer buffer);

  /// Takes a socket whose sending side is shut down and closes it once the peer has closed too, or when its
  /// time or its bytes are used up. An immediate close with unread input would make the kernel send a reset,
  /// which can destroy the last frame on its way to the peer.
  void linger(Descriptor descriptor);

  /// Calls `review` every few seconds on the loop's thread, until it returns false.
  using Review = std::move_only_function<bool()>;
  void reviewRegularly(Review review);

  /// Runs work on the thread of `pipes`, with the timers of `base`. Called once, before the loop is used.
  void makeScheduler(Scheduler& base) { scheduler_.emplace(pipes_, base); }
  /// Null if there is none.
  LoopScheduler* scheduler() { return scheduler_ ? &*scheduler_ : nullptr; }

  /// Moves the bytes of joined sockets, on a thread of its own.
  SocketPipes& pipes() { return pipes_; }

  void connectionBegan();
  void connectionEnded();
  bool waitUntilConnectionsEnd(std::chrono::milliseconds limit);

 private:
  struct Lingering;

  void drain(const std::shared_ptr<Lingering>& socket);
  void armLingerTimer();
  void closeExpired();
  void armReviewTimer();
  void runReviews();

  boost::asio::io_context context_;
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
  std::thread thread_;
  SocketPipes pipes_;
  std::optional<LoopScheduler> scheduler_;  // set before the loop is used

  std::mutex mutex_;  // guards all below
  std::condition_variable connectionsChanged_;
  std::size_t connections_ = 0;
  std::vector<Buffer> buffers_;
  std::deque<std::shared_ptr<Lingering>> lingering_;  // in the order of their deadlines
  boost::asio::steady_timer lingerTimer_;
  bool lingerTimerArmed_ = false;
  std::vector<Review> reviews_;
  boost::asio::steady_timer reviewTimer_;
  bool reviewTimerArmed_ = false;
};

}  // namespace quorl
