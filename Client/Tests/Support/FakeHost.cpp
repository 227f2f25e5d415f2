// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeHost.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include <QuorlKit/Auth/Pairing.h>
#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Protocol/VideoUDP.h>
#include <fmt/format.h>

namespace quorl::client::test {

using Clock = std::chrono::steady_clock;

struct FakeHost::Stream {
  std::size_t nextPicture = 0;
  std::uint64_t ptsBase = 0;
  Clock::time_point nextPictureAt;
};

struct FakeHost::Client {
  Descriptor socket;
  HostBehaviour behaviour;
  Deframer deframer;
  Bytes nonce;
  bool isAuthenticated = false;
  int attempts = 0;
  bool toldInputError = false;
  bool hasSentState = false;

  std::map<std::uint32_t, Stream> streams;
  std::size_t sentPictures = 0;

  std::optional<Clock::time_point> nextSoundAt;  // while subscribed
  std::size_t sentSound = 0;

  Descriptor datagrams;
  std::uint16_t datagramPort = 0;
  std::uint32_t frameCounter = 0;
};

FakeHost::FakeHost(HostBehaviour behaviour)
    : device_{behaviour.name, "Model 1", "Test 1.0", UUID::random()},
      listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
      wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      behaviour_(std::move(behaviour)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  QUORL_CHECK(::bind(listener_.get(), generic, size) == 0, "a port is free");
  QUORL_CHECK(::listen(listener_.get(), 8) == 0, "the port listens");
  QUORL_CHECK(::getsockname(listener_.get(), generic, &size) == 0, "the port has a number");
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { run(); });
}

FakeHost::~FakeHost() {
  record([&] { isStopped_ = true; });
  wake();
  thread_.join();
}

void FakeHost::wake() {
  const std::uint64_t one = 1;
  QUORL_CHECK(::write(wake_.get(), &one, sizeof one) == sizeof one, "the host can be woken");
}

void FakeHost::disconnectAll() {
  record([&] { disconnects_ = true; });
  wake();
}

void FakeHost::freeze(bool isFrozen) {
  record([&] { isFrozen_ = isFrozen; });
  wake();
}

void FakeHost::push(const OutgoingFrame& frame) {
  record([&] { pushed_.push_back(frame); });
  wake();
}

void FakeHost::push(const ControlMessage& message) {
  const auto frame = OutgoingFrame::control(message);
  QUORL_CHECK(frame.has_value(), "a test's message can be encoded");
  push(*frame);
}

std::string FakeHost::address() const {
  return fmt::format("127.0.0.1:{}", port_);
}

PairedHost FakeHost::pairedHost() {
  const std::scoped_lock guard(lock_);
  tokens_.push_back(Pairing::randomToken());
  return {device_.name, "127.0.0.1", port_, device_.deviceID, tokens_.back()};
}

void FakeHost::forgetClients() {
  const std::scoped_lock guard(lock_);
  tokens_.clear();
}

void FakeHost::setBehaviour(HostBehaviour behaviour) {
  const std::scoped_lock guard(lock_);
  behaviour_ = std::move(behaviour);
}

std::vector<ControlMessage> FakeHost::messages() const {
  const std::scoped_lock guard(lock_);
  return messages_;
}

std::vector<InputEvent> FakeHost::inputs() const {
  const std::scoped_lock guard(lock_);
  return inputs_;
}

std::vector<Bytes> FakeHost::pongs() const {
  const std::scoped_lock guard(lock_);
  return pongs_;
}

int FakeHost::connections() const {
  const std::scoped_lock guard(lock_);
  return connections_;
}

int FakeHost::pings() const {
  const std::scoped_lock guard(lock_);
  return pings_;
}

int FakeHost::mostConnections() const {
  const std::scoped_lock guard(lock_);
  return mostConnections_;
}

std::size_t FakeHost::sentSoundPackets() const {
  const std::scoped_lock guard(lock_);
  return sentSoundPackets_;
}

std::uint64_t FakeHost::keyframeRequests() const {
  const std::scoped_lock guard(lock_);
  return keyframeRequests_;
}

bool FakeHost::waitUntil(const std::function<bool(const FakeHost&)>& condition) {
  const auto deadline = Clock::now() + std::chrono::seconds(30);
  std::unique_lock guard(lock_);
  for (;;) {
    guard.unlock();
    const bool holds = condition(*this);
    guard.lock();
    if (holds) return true;
    if (changed_.wait_until(guard, deadline) == std::cv_status::timeout) return false;
  }
}

bool FakeHost::waitUntilSent(std::size_t pictures) {
  return waitUntil([pictures](const FakeHost& host) {
    const std::scoped_lock guard(host.lock_);
    return host.sentPictures_ >= pictures;
  });
}

void FakeHost::record(const std::function<void()>& change) {
  const std::scoped_lock guard(lock_);
  change();
  changed_.notify_all();
}

void FakeHost::run() {
  for (;;) {
    bool disconnects = false;
    bool isFrozen = false;
    std::vector<OutgoingFrame> pushed;
    record([&] {
      disconnects = std::exchange(disconnects_, false);
      isFrozen = isFrozen_;
      if (!isFrozen) pushed = std::exchange(pushed_, {});
    });
    if (disconnects) clients_.clear();
    for (const auto& client : clients_)
      for (const auto& frame : pushed)
        if (client->isAuthenticated) send(*client, frame);
    std::vector<pollfd> watched{pollfd{wake_.get(), POLLIN, 0}, pollfd{listener_.get(), POLLIN, 0}};
    std::optional<Clock::time_point> next;
    const auto consider = [&](Clock::time_point time) { next = next ? std::min(*next, time) : time; };
    if (!isFrozen)
      for (const auto& client : clients_) {
        watched.push_back({client->socket.get(), POLLIN, 0});
        if (client->nextSoundAt) consider(*client->nextSoundAt);
        if (client->behaviour.video != nullptr)
          for (const auto& [id, stream] : client->streams) consider(stream.nextPictureAt);
      }
    int timeout = -1;
    if (next)
      timeout = static_cast<int>(std::clamp<std::int64_t>(
          std::chrono::ceil<std::chrono::milliseconds>(*next - Clock::now()).count(), 0, 1000));
    if (::poll(watched.data(), watched.size(), timeout) < 0) continue;
    std::uint64_t ignored = 0;
    [[maybe_unused]] const auto count = ::read(wake_.get(), &ignored, sizeof ignored);
    {
      const std::scoped_lock guard(lock_);
      if (isStopped_) break;
    }
    for (std::size_t index = 2; index < watched.size(); ++index)
      if (!serve(*clients_[index - 2], watched[index].revents != 0)) clients_[index - 2].reset();
    std::erase(clients_, nullptr);
    if (watched[1].revents != 0) accept();
  }
  clients_.clear();
}

void FakeHost::accept() {
  auto client = std::make_unique<Client>();
  client->socket = Descriptor(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  const int on = 1;
  ::setsockopt(client->socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  record([&] {
    ++connections_;
    client->behaviour = behaviour_;
    mostConnections_ = std::max(mostConnections_, static_cast<int>(clients_.size()) + 1);
  });
  for (const auto* bytes : {&client->behaviour.garbage, &client->behaviour.greeting})
    if (!bytes->empty()) ::send(client->socket.get(), bytes->data(), bytes->size(), MSG_NOSIGNAL);
  clients_.push_back(std::move(client));
}

// False when the connection is over.
bool FakeHost::serve(Client& client, bool isReadable) {
  if (isReadable && !receive(client)) return false;
  if (client.behaviour.video != nullptr)
    for (auto& [id, stream] : client.streams)
      if (Clock::now() >= stream.nextPictureAt && !sendPicture(client, id, stream)) return false;
  if (client.nextSoundAt && Clock::now() >= *client.nextSoundAt) sendSound(client);
  return true;
}

bool FakeHost::receive(Client& client) {
  Bytes buffer(65'536);
  const auto count = ::recv(client.socket.get(), buffer.data(), buffer.size(), 0);
  if (count <= 0) return false;
  if (client.behaviour.isSilent || !client.behaviour.garbage.empty()) return true;
  const auto frames = client.deframer.feed(ByteView(buffer).first(static_cast<std::size_t>(count)));
  if (!frames) return false;
  return std::ranges::all_of(*frames, [&](const Frame& frame) { return handle(client, frame); });
}

bool FakeHost::handle(Client& client, const Frame& frame) {
  if (frame.type == FrameType::input && client.isAuthenticated) {
    const auto event = InputEvent::decode(frame.payload);
    if (event) record([&] { inputs_.push_back(*event); });
    if (client.behaviour.inputError && !client.toldInputError)
      send(client, ControlMessage(message::Error{*client.behaviour.inputError}));
    client.toldInputError = true;
    return true;
  }
  if (frame.type == FrameType::ping) {
    record([&] { ++pings_; });
    if (client.behaviour.answersPings)
      send(client, OutgoingFrame::raw(FrameType::pong, shareBytes(frame.payload)));
  }
  if (frame.type == FrameType::pong) record([&] { pongs_.push_back(frame.payload); });
  if (frame.type != FrameType::control) return true;
  const auto message = ControlCoder::decode(frame.payload);
  if (!message) {
    send(client, ControlMessage(message::Error{{"proto.badJSON", "undecodable control message"}}));
    return true;
  }
  record([&] { messages_.push_back(*message); });
  if (std::holds_alternative<message::Bye>(*message)) return false;
  return client.isAuthenticated ? handleControl(client, *message)
                                : handleBeforeAuthentication(client, *message);
}

bool FakeHost::handleBeforeAuthentication(Client& client, const ControlMessage& message) {
  if (const auto* hello = std::get_if<message::Hello>(&message)) return handleHello(client, hello->_0);
  if (const auto* request = std::get_if<message::PairRequest>(&message))
    return handlePIN(client, request->_0);
  send(client, ControlMessage(message::Error{{"auth.required", "not authenticated"}}));
  return false;
}

bool FakeHost::handleHello(Client& client, const Hello& hello) {
  const auto version = client.behaviour.protocolVersion;
  if (hello.protocolVersion != version) {
    send(client,
         ControlMessage(message::Error{{"proto.version", fmt::format("host speaks protocol {}", version)}}));
    return false;
  }
  if (!client.nonce.empty() && hello.authProof) {
    const std::scoped_lock guard(lock_);
    for (const auto& token : tokens_)
      if (Pairing::constantTimeEquals(Pairing::tokenProof(token, client.nonce), *hello.authProof))
        client.isAuthenticated = true;
  }
  if (!client.isAuthenticated && ++client.attempts >= 5) {
    send(client, ControlMessage(message::Error{{"auth.tooManyAttempts", "too many hello attempts"}}));
    return false;
  }
  if (!client.isAuthenticated) client.nonce = Pairing::randomNonce();
  acknowledge(client, client.isAuthenticated);
  return true;
}

bool FakeHost::handlePIN(Client& client, const PairRequest& request) {
  if (client.behaviour.lockOut) {
    send(client, ControlMessage(message::Error{*client.behaviour.lockOut}));
    return false;
  }
  if (!Pairing::constantTimeEquals(Pairing::pinProof(client.behaviour.pin, client.nonce), request.pinProof)) {
    send(client, ControlMessage(message::PairResponse{{false, std::nullopt}}));
    return ++client.attempts < 5;
  }
  const auto token = Pairing::randomToken();
  record([&] { tokens_.push_back(token); });
  send(client, ControlMessage(message::PairResponse{{true, token}}));
  client.isAuthenticated = true;
  acknowledge(client, true);
  return true;
}

void FakeHost::acknowledge(Client& client, bool authenticated) {
  send(client, ControlMessage(message::HelloAck{
                   {client.behaviour.protocolVersion, device_, client.nonce, authenticated}}));
  if (!authenticated) return;
  send(client, ControlMessage(message::ServiceList{client.behaviour.services}));
  for (const auto& frame : client.behaviour.pushes) send(client, frame);
}

bool FakeHost::handleControl(Client& client, const ControlMessage& message) {
  const auto& behaviour = client.behaviour;
  if (std::holds_alternative<message::RequestHostState>(message) && behaviour.hostState) {
    const bool isLater = std::exchange(client.hasSentState, true) && behaviour.laterState;
    send(client, ControlMessage(message::HostState{isLater ? *behaviour.laterState : *behaviour.hostState}));
  }
  if (std::holds_alternative<message::RequestNetworkStatus>(message) && behaviour.networkStatus)
    send(client, ControlMessage(message::NetworkStatus{*behaviour.networkStatus}));
  if (std::holds_alternative<message::RequestServiceList>(message))
    send(client, ControlMessage(message::ServiceList{behaviour.services}));
  if (const auto* echo = std::get_if<message::EchoRequest>(&message);
      echo != nullptr && behaviour.answersEchoes)
    send(client, ControlMessage(message::EchoReply{echo->_0}));
  if (std::holds_alternative<message::InsertText>(message) && behaviour.inputError)
    send(client, ControlMessage(message::Error{*behaviour.inputError}));
  if (std::holds_alternative<message::RequestClipboard>(message) && behaviour.clipboard)
    send(client, ControlMessage(message::Clipboard{{*behaviour.clipboard}}));
  if (behaviour.answers)
    for (const auto& answer : behaviour.answers(message)) send(client, answer);
  if (const auto* start = std::get_if<message::StartStream>(&message)) startStream(client, start->_0);
  if (const auto* stop = std::get_if<message::StopStream>(&message)) client.streams.erase(stop->streamID);
  if (const auto* control = std::get_if<message::AudioControl>(&message))
    controlSound(client, control->enabled);
  if (const auto* transport = std::get_if<message::VideoTransport>(&message)) {
    client.datagrams = Descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    client.datagramPort = transport->udpPort;
  }
  if (const auto* request = std::get_if<message::RequestKeyframe>(&message)) {
    record([&] { ++keyframeRequests_; });
    // The next pass over the sample begins with its key frame.
    const auto found = client.streams.find(request->streamID);
    if (found != client.streams.end() && found->second.nextPicture != 0) {
      auto& stream = found->second;
      stream.ptsBase += behaviour.video->pictures[stream.nextPicture - 1].ptsMicros + 10'000;
      stream.nextPicture = 0;
    }
  }
  return true;
}

void FakeHost::startStream(Client& client, const StartStream& request) {
  if (client.behaviour.streamError) {
    send(client, ControlMessage(message::Error{*client.behaviour.streamError}));
    return;
  }
  client.streams[request.streamID] = {.nextPictureAt = Clock::now()};
  const auto size = client.behaviour.video != nullptr ? client.behaviour.video->size : PixelSize{64, 48};
  send(client, ControlMessage(message::StreamStarted{
                   {request.streamID, size.width, size.height, client.behaviour.contentRect}}));
  if (client.behaviour.video != nullptr)
    sendVideo(client, request.streamID, VideoPacketFlags::codecConfig, 0, client.behaviour.video->config);
}

bool FakeHost::sendPicture(Client& client, std::uint32_t id, Stream& stream) {
  const auto& behaviour = client.behaviour;
  const auto& pictures = behaviour.video->pictures;
  if (stream.nextPicture == pictures.size()) {
    stream.ptsBase += pictures.back().ptsMicros + 10'000;
    stream.nextPicture = 0;
    if (!behaviour.otherConfig.empty())
      sendVideo(client, id, VideoPacketFlags::codecConfig, 0, behaviour.otherConfig);
  }
  const auto& picture = pictures[stream.nextPicture++];
  sendVideo(client, id, picture.isKeyframe ? VideoPacketFlags::keyframe : VideoPacketFlags{},
            stream.ptsBase + picture.ptsMicros, picture.data);
  stream.nextPictureAt += behaviour.pictureInterval;
  ++client.sentPictures;
  record([&] { ++sentPictures_; });
  return !behaviour.closesAfterPictures || client.sentPictures < *behaviour.closesAfterPictures;
}

void FakeHost::controlSound(Client& client, bool enabled) {
  const auto* const sound = client.behaviour.sound;
  if (sound == nullptr) return;
  send(client, ControlMessage(message::AudioControl{enabled}));
  client.nextSoundAt.reset();
  if (!enabled) return;
  send(client, ControlMessage(message::AudioConfig{sound->config}));
  client.nextSoundAt = Clock::now();
}

void FakeHost::sendSound(Client& client) {
  const auto& behaviour = client.behaviour;
  const auto& packets = behaviour.sound->packets;
  const std::uint64_t samples = client.sentSound * 1'024;
  send(client, OutgoingFrame::audio(
                   {samples * 1'000'000 / 48'000, shareBytes(packets[client.sentSound % packets.size()])}));
  *client.nextSoundAt += std::chrono::microseconds(21'333);
  record([&] { ++sentSoundPackets_; });
  if (++client.sentSound == behaviour.pausesAfterPackets) *client.nextSoundAt += behaviour.pause;
}

void FakeHost::sendVideo(Client& client, std::uint32_t id, VideoPacketFlags flags, std::uint64_t pts,
                         const Bytes& data) {
  if (client.datagramPort == 0 || flags.contains(VideoPacketFlags::codecConfig)) {
    send(client, OutgoingFrame::video({id, flags, pts, shareBytes(data)}));
    return;
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(client.datagramPort);
  const auto frameID = ++client.frameCounter;
  std::uint16_t index = 0;
  for (const auto& datagram : VideoUDP::fragments(id, frameID, flags, pts, data)) {
    const auto& loses = client.behaviour.losesDatagram;
    if (loses && loses(frameID, index++)) continue;
    ::sendto(client.datagrams.get(), datagram.data(), datagram.size(), 0,
             reinterpret_cast<const sockaddr*>(&address), sizeof address);
  }
}

void FakeHost::send(Client& client, const OutgoingFrame& frame) {
  const auto bytes = frame.encoded();
  for (std::size_t sent = 0; sent < bytes.size();) {
    const auto count = ::send(client.socket.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return;
    sent += static_cast<std::size_t>(count);
  }
}

void FakeHost::send(Client& client, const ControlMessage& message) {
  const auto frame = OutgoingFrame::control(message);
  QUORL_CHECK(frame.has_value(), "a test's message can be encoded");
  send(client, *frame);
}

}  // namespace quorl::client::test
