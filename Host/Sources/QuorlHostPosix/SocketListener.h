// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include <boost/asio/posix/stream_descriptor.hpp>

#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostPosix/IoLoop.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// One listening socket. A batch of connections is accepted on the loop's thread and delivered on the queue.
/// The next batch is not accepted before that, so that a busy queue leaves the rest in the backlog. On a loop
/// with a scheduler all of this happens on the scheduler's thread, and a connection is accepted with its
/// first bytes.
///
/// *Queue*: any thread. *Ownership*: held by `SocketListenerHandle` and by the work it has posted.
class SocketListener : public std::enable_shared_from_this<SocketListener> {
 public:
  SocketListener(std::shared_ptr<IoLoop> loop, SerialQueue queue, Network::ListenerHandlers handlers);

  void begin(Descriptor descriptor, std::uint16_t port);
  void reportFailure(const PortError& error);
  void cancel();

 private:
  using Batch = std::vector<std::unique_ptr<NetworkConnection>>;
  enum class Next : std::uint8_t { wait, more, pause, end };

  bool isOpen() const { return descriptor_.isOpen() || socket_.is_open(); }
  int descriptor();                // with `mutex_` held
  void close();                    // with `mutex_` held
  void proceed(Next next);         // with `mutex_` held
  void waitForPeers();             // with `mutex_` held
  void pauseAccepting();           // with `mutex_` held
  Next acceptBatch(Batch& batch);  // with `mutex_` held
  void accept();
  void report(const NetworkListener::State& state);
  std::shared_ptr<const Network::ListenerHandlers> handlers();

  const std::shared_ptr<IoLoop> loop_;
  const SerialQueue queue_;
  std::mutex mutex_;       // guards all below
  Descriptor descriptor_;  // on a loop with a scheduler
  std::uint64_t watch_ = 0;
  boost::asio::posix::stream_descriptor socket_;
  boost::asio::steady_timer pause_;
  std::shared_ptr<const Network::ListenerHandlers> handlers_;  // absent once cancelled
};

/// Owned by the users of the port. Its destruction ends the listening.
class SocketListenerHandle final : public NetworkListener {
 public:
  explicit SocketListenerHandle(std::shared_ptr<SocketListener> listener) : listener_(std::move(listener)) {}
  ~SocketListenerHandle() override { listener_->cancel(); }
  void cancel() override { listener_->cancel(); }

 private:
  std::shared_ptr<SocketListener> listener_;
};

}  // namespace quorl
