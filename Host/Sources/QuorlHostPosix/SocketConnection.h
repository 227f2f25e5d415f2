// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostPosix/IoLoop.h>
#include <QuorlHostPosix/PendingSends.h>
#include <QuorlHostPosix/SocketPipes.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// One TCP socket. Sends in one run of the queue, or while earlier ones wait for room, leave in one gathered
/// write after the queue's pending work: a burst of small frames costs one system call, and a single frame no
/// change of thread.
///
/// *Queue*: any thread; reads, writes and callbacks on the queue given to `start`.
/// *Ownership*: held by `SocketConnectionHandle` and by the work it has posted.
class SocketConnection : public std::enable_shared_from_this<SocketConnection> {
 public:
  /// An accepted connection.
  SocketConnection(std::shared_ptr<IoLoop> loop, Descriptor descriptor, std::optional<HostPort> peer);
  /// A connection to `peer`, which `start` begins.
  SocketConnection(std::shared_ptr<IoLoop> loop, HostPort peer);
  ~SocketConnection();

  void start(SerialQueue queue, NetworkConnection::StateHandler handler);
  void receive(std::size_t maximum, NetworkConnection::Receive completion);
  void forgetReceived() { forgetsReceived_ = true; }
  void send(OutgoingFrame frame, NetworkConnection::Sent completion);
  void sendBytes(SharedBytes bytes, NetworkConnection::Sent completion);
  /// `other`: not this one.
  bool join(SocketConnection& other, NetworkConnection::Filter filter, std::function<void()> ended);
  void cancel();
  TransportProgress progress();
  void limitUnsent(std::size_t bytes);
  std::optional<HostPort> local();
  /// No callback after this.
  void silence() { silent_ = true; }
  const std::optional<HostPort>& peer() const { return peer_; }

 private:
  enum class Phase : std::uint8_t { idle, connecting, open, joined, failed, cancelled };

  using Completions = PendingSends::Completions;

  // On the queue.
  void finishConnecting();
  void reportReady();
  void flush();
  void tryReceive();
  void fail(const PortError& error);

  // On the loop's thread.
  bool reviewPeer();
  void complete(Completions completions, const std::optional<PortError>& error, Phase during);

  // With `mutex_` held.
  int descriptor();  // -1 if there is none
  bool watch();
  bool canJoin() const;
  Descriptor takeDescriptor();
  void connect();
  void waitForPeer();
  void open();
  void enqueue(PendingSends::Item outgoing);
  void scheduleFlush();
  void waitForRoom();
  void watchPeer();
  void armReceive();
  void waitForInput();

  bool isIn(Phase phase);

  const std::shared_ptr<IoLoop> loop_;
  const std::optional<HostPort> peer_;
  std::atomic<bool> silent_{false};

  std::mutex mutex_;  // guards all below
  Phase phase_ = Phase::idle;
  // The socket moves from the descriptor to the loop when it is waited for, and to `pipe_` when it is joined.
  Descriptor descriptor_;
  IoLoop::Socket socket_;
  std::shared_ptr<SocketPipes::Handle> pipe_;
  std::optional<SerialQueue> queue_;
  NetworkConnection::StateHandler handler_;
  std::optional<PortError> error_;

  PendingSends pending_;
  TransportProgress progress_;  // as last read
  bool flushScheduled_ = false;
  bool waitingForRoom_ = false;
  bool peerWatched_ = false;

  NetworkConnection::Receive receive_;
  std::size_t receiveMaximum_ = 0;
  bool forgetsReceived_ = false;  // set and read on the queue
  bool moreExpected_ = false;     // after a full read the next one is tried without waiting
  bool peerFinished_ = false;
};

/// Owned by the users of the port. Its destruction closes the socket.
class SocketConnectionHandle final : public NetworkConnection {
 public:
  explicit SocketConnectionHandle(std::shared_ptr<SocketConnection> connection)
      : connection_(std::move(connection)) {}
  ~SocketConnectionHandle() override {
    connection_->silence();
    connection_->cancel();
  }

  void start(SerialQueue queue, StateHandler handler) override {
    connection_->start(std::move(queue), std::move(handler));
  }
  void receive(std::size_t maximum, Receive completion) override {
    connection_->receive(maximum, std::move(completion));
  }
  void forgetReceived() override { connection_->forgetReceived(); }
  void send(OutgoingFrame frame, Sent completion) override {
    connection_->send(std::move(frame), std::move(completion));
  }
  void sendBytes(SharedBytes bytes, Sent completion) override {
    connection_->sendBytes(std::move(bytes), std::move(completion));
  }
  bool join(NetworkConnection& other, Filter filter, std::function<void()> ended) override {
    auto* const handle = dynamic_cast<SocketConnectionHandle*>(&other);
    return handle && handle != this &&
           connection_->join(*handle->connection_, std::move(filter), std::move(ended));
  }
  void cancel() override { connection_->cancel(); }
  std::optional<HostPort> remoteEndpoint() const override { return connection_->peer(); }
  std::optional<HostPort> localEndpoint() const override { return connection_->local(); }
  TransportProgress progress() override { return connection_->progress(); }
  void limitUnsent(std::size_t bytes) override { connection_->limitUnsent(bytes); }

 private:
  std::shared_ptr<SocketConnection> connection_;
};

}  // namespace quorl
