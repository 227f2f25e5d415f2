// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/Frames.h>
#include <QuorlKit/Protocol/InputEvents.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>
#include <QuorlUnix/Descriptor.h>
#include <quorl-client/Hosts/HostBook.h>

#include "SampleSound.h"
#include "SampleVideo.h"

namespace quorl::client::test {

/// How a fake host behaves. By default it follows the protocol.
struct HostBehaviour {
  std::string name = "Fake host";
  std::string pin = "012345";
  std::uint32_t protocolVersion = 4;
  /// Accepts connections and sends nothing.
  bool isSilent = false;
  /// Sent at once instead of anything else.
  Bytes garbage;
  /// Sent before anything else.
  Bytes greeting;
  /// Every PIN is refused with this.
  std::optional<WireError> lockOut;
  std::optional<HostState> hostState;
  /// Answers the second request for the state and the later ones.
  std::optional<HostState> laterState;
  /// Sent to each client after it is authenticated.
  std::vector<OutgoingFrame> pushes;
  std::optional<NetworkStatus> networkStatus;
  /// Also sent after the authentication.
  std::vector<ServiceDescriptor> services;
  bool answersEchoes = true;
  bool answersPings = true;
  std::optional<ClipboardContent> clipboard;
  /// Further answers to a message.
  std::function<std::vector<ControlMessage>(const ControlMessage&)> answers;
  /// Sent once when input or text arrives.
  std::optional<WireError> inputError;
  /// Answers startStream.
  std::optional<WireError> streamError;
  const SampleVideo* video = nullptr;
  PointRect contentRect{{0, 0}, {320, 240}};
  std::chrono::milliseconds pictureInterval{10};
  /// Sent in real time, over and over, to a client that subscribes to sound.
  const SampleSound* sound = nullptr;
  /// The number of packets of sound after which the host is silent for a while, without counting on.
  std::optional<std::size_t> pausesAfterPackets;
  std::chrono::milliseconds pause{1'000};
  /// The number of pictures after which the connection is closed.
  std::optional<std::size_t> closesAfterPictures;
  /// Sends this configuration instead of the video's from the second pass over the video on.
  Bytes otherConfig;
  /// Whether a datagram is lost on the way.
  std::function<bool(std::uint32_t frameID, std::uint16_t index)> losesDatagram;
};

/// A session host over loopback sockets with what the client's tests need: the whole handshake, echoes,
/// streams and sound from samples, and a record of everything received. All streams show the same sample.
///
/// *Queue*: its own thread; the record is read under its lock. *Ownership*: the test's.
class FakeHost {
 public:
  explicit FakeHost(HostBehaviour behaviour);
  ~FakeHost();

  std::uint16_t port() const { return port_; }
  std::string address() const;
  const DeviceInfo& device() const { return device_; }
  /// A pairing that this host accepts.
  PairedHost pairedHost();
  void forgetClients();
  /// Replaces the behaviour for the next connection.
  void setBehaviour(HostBehaviour behaviour);
  /// Closes all connections, or stops reading and answering on them.
  void disconnectAll();
  void freeze(bool isFrozen);
  /// Sends a frame to all authenticated clients.
  void push(const OutgoingFrame& frame);
  void push(const ControlMessage& message);

  /// From all connections, in order.
  std::vector<ControlMessage> messages() const;
  std::vector<InputEvent> inputs() const;
  std::vector<Bytes> pongs() const;
  int connections() const;
  /// The number of pings received.
  int pings() const;
  /// The largest number of connections at the same time.
  int mostConnections() const;
  std::uint64_t keyframeRequests() const;
  std::size_t sentSoundPackets() const;

  bool waitUntilSent(std::size_t pictures);
  /// Waits until the condition holds for what was recorded; false after half a minute.
  bool waitUntil(const std::function<bool(const FakeHost&)>& condition);

  template <class Case>
  std::vector<Case> messagesOf() const {
    std::vector<Case> found;
    for (const auto& message : messages())
      if (const auto* held = std::get_if<Case>(&message)) found.push_back(*held);
    return found;
  }

 private:
  struct Client;
  struct Stream;

  void run();
  void accept();
  void wake();
  bool serve(Client& client, bool isReadable);
  bool receive(Client& client);
  bool handle(Client& client, const Frame& frame);
  bool handleBeforeAuthentication(Client& client, const ControlMessage& message);
  bool handleHello(Client& client, const Hello& hello);
  bool handlePIN(Client& client, const PairRequest& request);
  bool handleControl(Client& client, const ControlMessage& message);
  void acknowledge(Client& client, bool authenticated);
  void startStream(Client& client, const StartStream& request);
  bool sendPicture(Client& client, std::uint32_t id, Stream& stream);
  void controlSound(Client& client, bool enabled);
  void sendSound(Client& client);
  void sendVideo(Client& client, std::uint32_t id, VideoPacketFlags flags, std::uint64_t pts,
                 const Bytes& data);
  void send(Client& client, const OutgoingFrame& frame);
  void send(Client& client, const ControlMessage& message);
  void record(const std::function<void()>& change);

  DeviceInfo device_;
  Descriptor listener_;
  Descriptor wake_;
  std::uint16_t port_ = 0;

  mutable std::mutex lock_;
  std::condition_variable changed_;
  HostBehaviour behaviour_;
  std::vector<Bytes> tokens_;
  std::vector<ControlMessage> messages_;
  std::vector<InputEvent> inputs_;
  std::vector<Bytes> pongs_;
  std::uint64_t keyframeRequests_ = 0;
  std::size_t sentPictures_ = 0;
  std::size_t sentSoundPackets_ = 0;
  int connections_ = 0;
  int pings_ = 0;
  int mostConnections_ = 0;
  bool isStopped_ = false;
  bool disconnects_ = false;
  bool isFrozen_ = false;
  std::vector<OutgoingFrame> pushed_;

  std::vector<std::unique_ptr<Client>> clients_;  // of the thread
  std::thread thread_;
};

}  // namespace quorl::client::test
