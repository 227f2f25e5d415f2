// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <unordered_map>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Relay/RelayConnection.h>

namespace quorl {

/// A reverse proxy for clients that cannot reach the web services on this machine's loopback interface: a
/// request for `/p/<port>/<rest>` with the token of a trusted device is passed to `127.0.0.1:<port>`.
///
/// *Queue*: "quorl.relay"; operations may be called from any thread that may wait for it.
/// *Blocking*: `start` and `stop` wait for the queue.
/// *Ownership*: the runtime holds it; it holds its connections.
/// *Lifetime*: `stop` ends the listener only. Connections end by themselves or with this object.
class HTTPRelay : public std::enable_shared_from_this<HTTPRelay> {
 public:
  static constexpr std::uint16_t port = 47'901;
  /// For the head of a request.
  static constexpr std::chrono::seconds headTimeout{15};

  /// `allowedPorts` is evaluated for each request, on the queue of its connection. `listenPort`: tests and
  /// developers run several hosts.
  HTTPRelay(const Platform& platform, std::shared_ptr<TrustStore> trustStore, AllowedPorts allowedPorts,
            std::uint16_t listenPort = port);

  /// Listens, in place of an earlier listener. A failure is logged; there is no second attempt.
  void start();
  void stop();

  std::size_t activeConnections() const;

 private:
  using Serial = std::uint64_t;
  struct Deadline {
    MonotonicTime when;
    Serial serial;
  };

  void listen() QUORL_REQUIRES(queue_);
  void dropListener() QUORL_REQUIRES(queue_);
  void accept(std::unique_ptr<NetworkConnection> client) QUORL_REQUIRES(queue_);
  void remove(Serial serial) QUORL_REQUIRES(queue_);
  void armSweep() QUORL_REQUIRES(queue_);
  void sweep() QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<const RelayServices> services_;
  const std::uint16_t listenPort_;

  std::unique_ptr<NetworkListener> listener_ QUORL_GUARDED_BY(queue_);
  std::uint64_t listenerNumber_ QUORL_GUARDED_BY(queue_) = 0;  // callbacks of others are dropped
  Serial lastSerial_ QUORL_GUARDED_BY(queue_) = 0;
  std::unordered_map<Serial, std::shared_ptr<RelayConnection>> active_ QUORL_GUARDED_BY(queue_);
  // Of the connections that may still wait for a head, in order. One timer serves them all.
  std::deque<Deadline> deadlines_ QUORL_GUARDED_BY(queue_);
  Timer sweepTimer_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
