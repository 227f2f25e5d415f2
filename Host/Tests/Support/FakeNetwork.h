// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/Network.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/Frames.h>

namespace quorl::test {

class FakeListener;
struct FakeLink;

/// How unreliable a network is: reads are cut anywhere and completions are delayed, as one generator decides.
struct Flakiness {
  explicit Flakiness(std::uint64_t seed) : random(seed) {}
  std::mt19937_64 random;
  std::chrono::microseconds maximumDelay{20'000};
};

/// The ports of one machine, which all networks on it share.
///
/// *Queue*: the simulation's one thread. *Lifetime*: outlives the networks.
class FakeMachine {
 public:
  bool isTaken(std::uint16_t port) const;
  /// The listeners of the port that were told so. More than one is an error of the machine.
  std::vector<FakeListener*> owners(std::uint16_t port) const;

  /// An injected fault that tests must notice: a port can be bound twice.
  bool sharesPorts = false;

 private:
  friend class FakeListener;
  std::multimap<std::uint16_t, FakeListener*> listeners_;
};

/// What happens to a connection that the host opens.
enum class FakeAnswer : std::uint8_t { accepts, refuses, hangs };

/// The other end of a connection that the host has accepted or opened.
///
/// *Queue*: the simulation's one thread. *Lifetime*: may outlive the host's end and the network.
class FakePeer {
 public:
  explicit FakePeer(std::shared_ptr<FakeLink> link) : link_(std::move(link)) {}

  void write(ByteView bytes);
  void writeFrame(FrameType type, ByteView payload);
  void send(const ControlMessage& message);
  void finish();                      // the host reads the end of the stream
  void fail(const std::string& why);  // the connection breaks
  /// If false, the transport takes nothing that the host sends.
  void setReading(bool reading);
  /// The bodies of the frames that it has not taken, in order.
  std::vector<SharedBytes> heldBodies() const;
  /// Sends are taken and reported as failed.
  void failSends(const std::string& why);

  /// Establishes a connection that hangs.
  void accept();

  /// What has arrived since the last call.
  Bytes takeBytes();
  std::vector<Frame> takeFrames();
  std::vector<ControlMessage> takeMessages();  // of the control frames; all others are dropped

  bool isClosedByHost() const;
  std::size_t heldBytes() const;  // sent by the host, not taken
  /// If false, the transport takes what the host sends but acknowledges nothing.
  void setAcknowledging(bool acknowledging);
  std::size_t sendsAfterCancel() const;
  std::size_t unreadBytes() const;  // written, not yet read by the host
  std::size_t largestReceive() const;

 private:
  std::shared_ptr<FakeLink> link_;
  Deframer deframer_;
};

/// A network in the process.
///
/// *Queue*: the simulation's one thread.
/// *Lifetime*: connections and listeners may outlive it.
class FakeNetwork : public Network {
 public:
  explicit FakeNetwork(Scheduler& scheduler, std::shared_ptr<FakeMachine> machine = nullptr);

  std::expected<std::unique_ptr<NetworkListener>, PortError> listen(std::uint16_t port, SerialQueue queue,
                                                                    ListenerHandlers handlers) override;
  std::unique_ptr<NetworkConnection> connect(const HostPort& peer) override;
  std::unique_ptr<DatagramSender> openDatagramSender(const HostPort& peer,
                                                     const std::optional<std::string>& localHost,
                                                     SerialQueue queue) override;

  /// The answer at an address from now on. Without one a connection is refused.
  void setAnswer(const HostPort& peer, FakeAnswer answer) { answers_[{peer.host, peer.port}] = answer; }
  struct Opened {
    HostPort address;
    std::shared_ptr<FakePeer> peer;
  };
  /// The connections that the host has opened, in order.
  std::vector<Opened> opened;

  /// Connects a client. Nothing if there is no listener.
  std::shared_ptr<FakePeer> connect(std::uint16_t port, HostPort from = {"10.0.0.2", 50'000});
  /// A connection without a listener, for tests of a single connection.
  std::pair<std::unique_ptr<NetworkConnection>, std::shared_ptr<FakePeer>> makePair(
      std::optional<HostPort> from = HostPort{"10.0.0.2", 50'000});

  /// From now on.
  void makeFlaky(std::shared_ptr<Flakiness> flakiness) { flakiness_ = std::move(flakiness); }

  void failListener(std::uint16_t port, const std::string& why);
  void repeatReady(std::uint16_t port);
  bool failsCreation = false;

  std::size_t listenAttempts() const { return listenAttempts_; }
  std::size_t liveConnections() const;
  std::size_t sendsAfterCancel() const;
  std::size_t heldBytes() const;  // of the fullest connection

  struct Datagram {
    HostPort peer;
    std::optional<std::string> localHost;
    Bytes bytes;
  };
  std::shared_ptr<std::vector<Datagram>> datagrams = std::make_shared<std::vector<Datagram>>();
  std::shared_ptr<std::size_t> liveDatagramSenders = std::make_shared<std::size_t>(0);
  const std::shared_ptr<FakeMachine>& machine() const { return machine_; }

 private:
  Scheduler& scheduler_;
  std::shared_ptr<FakeMachine> machine_;
  std::shared_ptr<Flakiness> flakiness_;
  std::vector<std::weak_ptr<FakeLink>> links_;
  std::size_t listenAttempts_ = 0;
  std::map<std::pair<std::string, std::uint16_t>, FakeAnswer> answers_;
};

}  // namespace quorl::test
