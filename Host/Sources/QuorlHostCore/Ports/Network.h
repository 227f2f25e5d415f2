// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>

namespace quorl {

/// A host as printed (numeric address or name, no brackets) and a port.
struct HostPort {
  std::string host;
  std::uint16_t port = 0;

  bool operator==(const HostPort&) const = default;
};

/// How far the bytes given to a connection have come.
struct TransportProgress {
  std::uint64_t acknowledged = 0;  // confirmed by the peer's system, since the connection began
  Duration shortestRoundTrip{};    // measured lately; zero while unknown
};

/// One TCP connection, accepted or opened.
///
/// *Queue*: all callbacks run on the queue given to `start`; every operation may be called from any thread.
/// *Lifetime*: destruction cancels. After `cancel` or destruction no receive or send completion runs; pending
/// ones are dropped. The state handler still hears `cancelled` after `cancel`, but nothing after destruction.
class NetworkConnection {
 public:
  enum class State : std::uint8_t { ready, failed, cancelled };

  using StateHandler = std::function<void(State, const PortError&)>;
  /// Bytes (valid during the call only, empty at an end or error), whether the peer has finished sending, and
  /// the error if there was one.
  using Receive = std::move_only_function<void(ByteView bytes, bool isComplete, std::optional<PortError>)>;
  using Sent = std::move_only_function<void(std::optional<PortError>)>;

  virtual ~NetworkConnection() = default;

  virtual void start(SerialQueue queue, StateHandler handler) = 0;

  /// One receive is outstanding at most. Completes as soon as one byte is there, with at most `maximum`
  /// bytes. No memory is held for a receive that waits.
  virtual void receive(std::size_t maximum, Receive completion) = 0;

  /// Sends prefix and body as one, in the order of the calls, without copying the body. `completion` runs
  /// once the bytes have been handed to the transport.
  virtual void send(OutgoingFrame frame, Sent completion) = 0;

  /// What `send` has accepted is still handed to the transport if that is possible at once, without waiting.
  virtual void cancel() = 0;

  /// The peer, when it is known.
  virtual std::optional<HostPort> remoteEndpoint() const = 0;
  /// This end, when it is known.
  virtual std::optional<HostPort> localEndpoint() const = 0;

  /// Read from the transport now, without waiting. After the end: the last known.
  virtual TransportProgress progress() = 0;
  /// The transport takes about this many bytes beyond those on their way to the peer; the rest stays with the
  /// connection, where `send` completes later.
  virtual void limitUnsent(std::size_t bytes) = 0;
};

/// A listening TCP socket.
///
/// *Queue*: callbacks run on the queue given at creation. *Lifetime*: destruction cancels; connections that
/// were not yet handed over are closed.
class NetworkListener {
 public:
  struct Ready {
    std::uint16_t port;
  };
  struct Failed {
    PortError error;
  };
  using State = std::variant<Ready, Failed>;

  virtual ~NetworkListener() = default;
  virtual void cancel() = 0;
};

/// Sends UDP datagrams to one peer. Losing one is no error, and nothing is ever reported.
class DatagramSender {
 public:
  virtual ~DatagramSender() = default;
  virtual void send(Bytes datagram) = 0;
};

/// Makes sockets.
class Network {
 public:
  struct ListenerHandlers {
    std::function<void(std::unique_ptr<NetworkConnection>)> connection;
    std::function<void(const NetworkListener::State&)> state;
  };

  virtual ~Network() = default;

  /// Binds all addresses, IPv6 and IPv4, with local address reuse (never the sharing of a port between
  /// processes). `port` 0 is a programming fault. A port that another process holds is reported as `Failed`
  /// through the state handler, as is any later failure; creation fails only when no socket can be made.
  virtual std::expected<std::unique_ptr<NetworkListener>, PortError> listen(std::uint16_t port,
                                                                            SerialQueue queue,
                                                                            ListenerHandlers handlers) = 0;

  /// `localHost`: the address of this machine that the datagrams come from, if it matters.
  virtual std::unique_ptr<DatagramSender> openDatagramSender(const HostPort& peer,
                                                             const std::optional<std::string>& localHost,
                                                             SerialQueue queue) = 0;
};

}  // namespace quorl
