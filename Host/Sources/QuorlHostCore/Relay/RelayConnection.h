// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostCore/Relay/RelayHead.h>
#include <QuorlHostCore/Relay/ResponseHead.h>
#include <QuorlHostCore/Trust/TrustStore.h>

namespace quorl {

/// What the connections of a relay use.
///
/// *Ownership*: shared by the relay and its connections.
struct RelayServices {
  std::shared_ptr<Network> network;
  std::shared_ptr<TrustStore> trustStore;
  AllowedPorts allowedPorts;
};

/// One connection of a web client: reads a request head, checks it once, sends it rewritten to the backend
/// and then passes bytes both ways until either side ends. Later requests on the connection are not examined.
///
/// States: reading the head; waiting for the backend; piping; closed, which is final.
///
/// *Queue*: "quorl.relay.conn"; operations may be called from any thread.
/// *Blocking*: a head waits for the trust store's queue and for those of `allowedPorts`.
/// *Ownership*: the relay holds it; handlers of the sockets hold it weakly.
/// *Lifetime*: `onClose` is called once, on the queue, and ends the relay's hold.
class RelayConnection : public std::enable_shared_from_this<RelayConnection> {
 public:
  static constexpr std::size_t headLimit = 65'536;
  static constexpr std::size_t headReadSize = 16'384;
  static constexpr std::size_t pipeReadSize = 262'144;

  RelayConnection(Scheduler& scheduler, std::unique_ptr<NetworkConnection> client,
                  std::shared_ptr<const RelayServices> services);

  /// Set before `start`.
  void onClose(std::function<void()> handler) { onClose_ = std::move(handler); }
  void start();
  /// The time for the head is over: closes the connection if there is none.
  void endHandshake();

 private:
  using Arrived = void (RelayConnection::*)(ByteView bytes, bool isLast);

  void receive(NetworkConnection& from, std::size_t maximum, Arrived arrived) QUORL_REQUIRES(queue_);
  void send(NetworkConnection& to, Bytes bytes, void (RelayConnection::*sent)()) QUORL_REQUIRES(queue_);

  void readHead() QUORL_REQUIRES(queue_);
  void headArrived(ByteView bytes, bool isLast) QUORL_REQUIRES(queue_);
  void handleHead(ByteView head, ByteView remainder) QUORL_REQUIRES(queue_);
  void reject(const RelayRejection& rejection) QUORL_REQUIRES(queue_);
  void connectBackend(RelayRequest request, ByteView remainder) QUORL_REQUIRES(queue_);
  void startPipes() QUORL_REQUIRES(queue_);
  void pipeClientToBackend() QUORL_REQUIRES(queue_);
  void pipeBackendToClient() QUORL_REQUIRES(queue_);
  void clientBytesArrived(ByteView bytes, bool isLast) QUORL_REQUIRES(queue_);
  void backendBytesArrived(ByteView bytes, bool isLast) QUORL_REQUIRES(queue_);
  void shutdown() QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<const RelayServices> services_;
  const std::unique_ptr<NetworkConnection> client_;
  std::function<void()> onClose_;

  std::unique_ptr<NetworkConnection> backend_ QUORL_GUARDED_BY(queue_);
  Bytes headBuffer_ QUORL_GUARDED_BY(queue_);
  std::optional<ResponseHead> responseHead_ QUORL_GUARDED_BY(queue_);  // while a cookie waits for it
  bool headComplete_ QUORL_GUARDED_BY(queue_) = false;
  bool closed_ QUORL_GUARDED_BY(queue_) = false;
};

}  // namespace quorl
