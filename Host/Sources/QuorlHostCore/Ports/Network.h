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

/// How many of a connection's bytes have arrived.
struct TransportProgress {
  std::uint64_t acknowledged = 0;  // by the peer's system, since the connection began
  Duration shortestRoundTrip{};    // recent; zero while unknown
};

/// One TCP connection, accepted or opened.
///
/// *Queue*: operations on any thread; all callbacks run on the queue given to `start`.
/// *Blocking*: none. `progress` reads the transport without waiting.
/// *Ownership*: takes frames and shares their bodies; keeps handlers until the end.
/// *Lifetime*: destruction cancels. After `cancel` or destruction pending completions are dropped, not
/// called. The state handler is called with `cancelled` after `cancel`, and not at all after destruction.
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

  /// Completes when at least one byte is available, with at most `maximum` bytes. At most one receive is
  /// outstanding. A waiting receive holds no memory.
  virtual void receive(std::size_t maximum, Receive completion) = 0;
  /// Called by a receive's completion: the received bytes are a secret, and the connection overwrites them
  /// when the completion returns.
  virtual void forgetReceived() {}

  /// Sends prefix and body as one, in the order of the calls, without copying the body. `completion` runs
  /// when the transport has taken the bytes.
  virtual void send(OutgoingFrame frame, Sent completion) = 0;

  /// The same for bytes of another protocol, without a frame around them.
  virtual void sendBytes(SharedBytes bytes, Sent completion) = 0;

  /// Examines the input of a joined connection from its first byte: takes a piece and returns what is passed
  /// on for all pieces so far, or nothing while it needs more. Runs on any thread, one call at a time, and
  /// not again once it has returned bytes.
  using Filter = std::move_only_function<std::optional<Bytes>(ByteView)>;

  /// Passes all further input of each of two open connections to the other, reading on only when the last
  /// piece is sent, until either ends or fails. Then both are cancelled, after what was read has been passed
  /// on, and `ended` runs on this connection's queue. A cancel of either cancels both, without `ended`. The
  /// caller has no receive or send outstanding and calls nothing afterwards but `cancel`. `filter`, if set,
  /// examines the input of `other`. Returns false, with no effect, on a platform without this operation or if
  /// a connection is not open.
  virtual bool join(NetworkConnection& other, Filter filter, std::function<void()> ended) {
    static_cast<void>(other);
    static_cast<void>(filter);
    static_cast<void>(ended);
    return false;
  }

  /// Bytes that `send` has accepted still go to the transport if it takes them without waiting.
  virtual void cancel() = 0;

  /// The peer, if known.
  virtual std::optional<HostPort> remoteEndpoint() const = 0;
  /// This end, if known.
  virtual std::optional<HostPort> localEndpoint() const = 0;

  /// The current progress; after the end, the last known.
  virtual TransportProgress progress() = 0;
  /// Limits what the transport takes beyond the bytes in flight, approximately. The rest waits in the
  /// connection, and its `send` completes later.
  virtual void limitUnsent(std::size_t bytes) = 0;
};

/// A listening TCP socket.
///
/// *Queue*: `cancel` on any thread; callbacks run on the queue given at creation.
/// *Blocking*: none.
/// *Ownership*: the caller's; each accepted connection passes to the caller.
/// *Lifetime*: destruction cancels. Connections not yet delivered are closed, and no callback runs
/// afterwards.
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

/// Sends UDP datagrams to one peer. Losses and errors are not reported.
///
/// *Queue*: `send` from one queue at a time. There are no callbacks.
/// *Blocking*: none; a datagram that the socket does not take at once may be lost.
/// *Ownership*: takes the datagrams.
/// *Lifetime*: destruction drops datagrams that were not sent.
class DatagramSender {
 public:
  virtual ~DatagramSender() = default;
  virtual void send(Bytes datagram) = 0;
};

/// Creates sockets.
///
/// *Queue*: any thread; each socket's callbacks run on the queue given for it.
/// *Blocking*: none. Resolving a host name is posted to that queue as blocking work.
/// *Ownership*: sockets belong to the caller.
/// *Lifetime*: destruction ends the work of all sockets.
class Network {
 public:
  struct ListenerHandlers {
    std::function<void(std::unique_ptr<NetworkConnection>)> connection;
    std::function<void(const NetworkListener::State&)> state;
  };

  virtual ~Network() = default;

  /// Runs work on the thread that watches the sockets, so that callbacks on a queue made with it need no
  /// other thread. Work on it delays all sockets of this network. Null if there is none. Ends with the
  /// network.
  virtual Scheduler* socketScheduler() { return nullptr; }

  /// Binds all addresses, IPv6 and IPv4, with local address reuse, and without sharing the port between
  /// processes. `port` 0 is a programming error. A port held by another process is reported as `Failed`
  /// through the state handler, as is any later failure; the call itself fails only if no socket can be
  /// created.
  virtual std::expected<std::unique_ptr<NetworkListener>, PortError> listen(std::uint16_t port,
                                                                            SerialQueue queue,
                                                                            ListenerHandlers handlers) = 0;

  /// A TCP connection to a numeric address, not begun before `start`. `ready` follows once it is established,
  /// `failed` if it cannot be; what is sent before waits. There is no time limit but the system's.
  virtual std::unique_ptr<NetworkConnection> connect(const HostPort& peer) = 0;

  /// `localHost`: the local address to send from, if it matters.
  virtual std::unique_ptr<DatagramSender> openDatagramSender(const HostPort& peer,
                                                             const std::optional<std::string>& localHost,
                                                             SerialQueue queue) = 0;
};

}  // namespace quorl
