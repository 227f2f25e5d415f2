// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Session/ClientConnection.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Agents/Registry/AgentRegistry.h>
#include <QuorlHostCore/HostState/HostStateProvider.h>
#include <QuorlHostCore/Log/Log.h>
#include <QuorlHostCore/Network/NetworkStatusProvider.h>
#include <QuorlHostCore/Session/HostServices.h>
#include <QuorlHostCore/Sound/AudioStreamer.h>

namespace quorl {

namespace {

constexpr std::string_view unnamed = "connecting…";

}  // namespace

std::string printed(const std::optional<HostPort>& endpoint) {
  if (!endpoint) return "unknown";
  const bool isIPv6 = endpoint->host.find(':') != std::string::npos;
  return isIPv6 ? fmt::format("[{}]:{}", endpoint->host, endpoint->port)
                : fmt::format("{}:{}", endpoint->host, endpoint->port);
}

ClientConnection::ClientConnection(std::unique_ptr<NetworkConnection> connection,
                                   std::shared_ptr<HostServices> services)
    : queue_(*services->platform.scheduler, "quorl.conn", QueueRank::connection),
      services_(std::move(services)),
      connection_(std::move(connection)),
      gate_(std::make_shared<PictureGate>(queue_, connection_)),
      connectedAt_(queue_.scheduler().date()),
      udpVideo_(queue_, services_->platform.network, connection_, gate_),
      reader_({.mayDispatch =
                   [this] {
                     queue_.assertCurrent();
                     return closed_ || mayReceive();
                   },
               .dispatch =
                   [this](Frame& frame) {
                     queue_.assertCurrent();
                     dispatch(frame);
                   }}),
      authority_(services_),
      handshake_(authority_, printed(connection_->remoteEndpoint())),
      input_(*services_, streams_, [this](ControlMessage message) { reply(std::move(message)); }) {}

void ClientConnection::onClose(Callback callback) {
  queue_.sync([&] {
    queue_.assertCurrent();
    onClose_ = std::move(callback);
  });
}

void ClientConnection::onAuthenticated(Callback callback) {
  queue_.sync([&] {
    queue_.assertCurrent();
    onAuthenticated_ = std::move(callback);
  });
}

void ClientConnection::start() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->path_ = std::make_shared<SendPath>(
        self->queue_, self->connection_, self->gate_,
        [weak = self->weak_from_this()](const std::optional<PortError>& error) QUORL_NO_ANALYSIS {
          if (const auto connection = weak.lock()) connection->transportProgressed(error);
        });
    self->files_.onRoom([queue = self->queue_, weak = self->weak_from_this()] {
      queue.async([weak] {
        const auto connection = weak.lock();
        if (!connection) return;
        connection->queue_.assertCurrent();
        connection->receiveAgain();
      });
    });
    self->connection_->start(self->queue_, [weak = self->weak_from_this()](NetworkConnection::State state,
                                                                           const PortError& error) {
      if (const auto connection = weak.lock()) connection->connectionStateChanged(state, error);
    });
    self->armReceive();
  });
}

void ClientConnection::close() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->reply(message::Bye{});
    self->teardown();
  });
}

std::string ClientConnection::hostText() const {
  const auto endpoint = connection_->remoteEndpoint();
  return endpoint ? endpoint->host : std::string();
}

std::string ClientConnection::displayDescription() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    const auto& device = handshake_.clientDevice();
    const std::string name = device ? device->name : std::string();
    const std::string host = hostText();
    if (!name.empty() && !host.empty()) return fmt::format("{} ({})", name, host);
    if (name.empty() && host.empty()) return std::string(unnamed);
    return name.empty() ? host : name;
  });
}

ClientSummary ClientConnection::summary() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    const auto& device = handshake_.clientDevice();
    return ClientSummary{.name = device ? device->name : std::string(unnamed),
                         .endpoint = hostText(),
                         .since = connectedAt_,
                         .lastProbe = lastProbeAt_};
  });
}

AuthState ClientConnection::authState() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return handshake_.state();
  });
}

std::size_t ClientConnection::outstandingBytes() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return path_ ? path_->outstandingBytes() : 0;
  });
}

void ClientConnection::connectionStateChanged(NetworkConnection::State state, const PortError& error) {
  const auto tearDownLater = [this] {
    queue_.async([self = shared_from_this()] {
      self->queue_.assertCurrent();
      self->teardown();
    });
  };
  switch (state) {
    case NetworkConnection::State::ready:
      Log::server.v(fmt::format("connection ready: {}", printed(connection_->remoteEndpoint())));
      break;
    case NetworkConnection::State::failed:
      Log::server.v(fmt::format("connection failed: {}", error.description));
      tearDownLater();
      break;
    case NetworkConnection::State::cancelled:
      tearDownLater();
      break;
  }
}

// Receiving

bool ClientConnection::mayReceive() const {
  const std::size_t limit =
      handshake_.state() == AuthState::authenticated ? backpressureThreshold : unauthenticatedBacklog;
  return path_->answerBacklog() <= limit && files_.hasRoom();
}

void ClientConnection::receiveAgain() {
  if (!closed_ && reader_.isWaiting() && mayReceive()) proceed(reader_.resume());
}

void ClientConnection::armReceive() {
  connection_->receive(receiveMaximum, [weak = weak_from_this()](ByteView bytes, bool isComplete,
                                                                 std::optional<PortError> error) {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    self->received(bytes, isComplete, error);
  });
}

void ClientConnection::received(ByteView bytes, bool isComplete, const std::optional<PortError>& error) {
  if (closed_) return;
  const auto kind = isComplete || error ? FrameReader::Read::last : FrameReader::Read::more;
  const auto next = reader_.read(bytes, kind);
  if (reader_.mayHoldSecret()) connection_->forgetReceived();
  if (!next) {
    Log::server.error(fmt::format("deframe error: {}", next.error().description()));
    teardown();
    return;
  }
  proceed(*next);
}

void ClientConnection::proceed(FrameReader::Next next) {
  if (next == FrameReader::Next::end) teardown();
  if (closed_) {
    // Frames after the one that ended the session may have pressed keys again.
    input_.leave(waitingText_);
    return;
  }
  if (next == FrameReader::Next::receive) armReceive();
}

void ClientConnection::dispatch(Frame& frame) {
  switch (frame.type) {
    case FrameType::control:
      dispatchControl(frame);
      break;
    case FrameType::ping:
      lastProbeAt_ = queue_.scheduler().date();
      sendNow(OutgoingFrame::raw(FrameType::pong, shareBytes(std::move(frame.payload))), Purpose::answer,
              std::nullopt);
      break;
    case FrameType::input:
      dispatchInput(frame);
      break;
    case FrameType::file:
      if (handshake_.state() == AuthState::authenticated) files_.chunk(std::move(frame.payload));
      break;
    // These are sent by hosts only.
    case FrameType::pong:
    case FrameType::video:
    case FrameType::audio:
    case FrameType::terminal:
      break;
  }
}

void ClientConnection::dispatchControl(Frame& frame) {
  if (handshake_.state() != AuthState::authenticated) {
    dispatchHandshake(frame);
  } else if (const auto message = ControlCoder::decode(frame.payload)) {
    routeMessage(*this, *message);
    if (holdsSecret(*message)) forget(frame);
  } else {
    refuseUndecodable();
  }
}

// The frame held a password.
void ClientConnection::forget(Frame& frame) {
  overwrite({reinterpret_cast<char*>(frame.payload.data()), frame.payload.size()});
  connection_->forgetReceived();
}

// A message of an unauthenticated peer is checked first, and decoded only if its case belongs to the
// handshake, whose records are no larger than their text.
void ClientConnection::dispatchHandshake(const Frame& frame) {
  const auto caseKey = ControlCoder::judge(frame.payload);
  if (!caseKey) {
    refuseUndecodable();
  } else if (!HandshakeMachine::accepts(*caseKey)) {
    carryOut(HandshakeMachine::refusal());
  } else if (const auto message = ControlCoder::decode(frame.payload)) {
    carryOut(handshake_.receive(*message));
  }
}

void ClientConnection::refuseUndecodable() {
  reply(message::Error{WireError{"proto.badJSON", "undecodable control message"}});
}

void ClientConnection::dispatchInput(const Frame& frame) {
  if (handshake_.state() != AuthState::authenticated) return;
  if (const auto event = InputEvent::decode(frame.payload)) input_.route(*event);
}

// Handshake

namespace {

template <class... Function>
struct Overloaded : Function... {
  using Function::operator()...;
};

}  // namespace

void ClientConnection::carryOut(HandshakeMachine::Actions actions) {
  for (HandshakeAction& action : actions) {
    std::visit(Overloaded{[this](handshakeAction::Send& send) { reply(std::move(send.message)); },
                          [](handshakeAction::LogEvent& line) { Log::auth.event(line.text); },
                          [this](handshakeAction::Authenticated&) {
                            queue_.assertCurrent();
                            authenticated();
                          },
                          [this](handshakeAction::Close&) { end(); },
                          [this](handshakeAction::CloseAfter& close) {
                            queue_.assertCurrent();
                            closeLater(close.delay);
                          }},
               action);
  }
}

void ClientConnection::closeLater(std::chrono::milliseconds delay) {
  if (closing_.isPending()) return;
  closing_ = queue_.after(delay, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->end();
  });
}

void ClientConnection::authenticated() {
  if (closed_) return;
  if (onAuthenticated_) onAuthenticated_(*this);
  pushInitialState();
}

void ClientConnection::pushInitialState() {
  services_->stateProvider->buildState([weak = weak_from_this()](HostState state) {
    if (const auto self = weak.lock()) self->sendControl(message::HostState{std::move(state)});
  });
  if (services_->network)
    services_->network->snapshot([weak = weak_from_this()](NetworkStatus status) {
      if (const auto self = weak.lock()) self->sendControl(message::NetworkStatus{std::move(status)});
    });
  if (services_->agents) {
    services_->agents->currentList([weak = weak_from_this()](std::vector<AgentDescriptor> list) {
      if (const auto self = weak.lock()) self->sendControl(message::AgentList{std::move(list)});
    });
  } else {
    reply(message::AgentList{});
  }
  reply(message::ServiceList{services_->serviceList()});
}

void ClientConnection::noteProbe() {
  queue_.assertCurrent();
  lastProbeAt_ = queue_.scheduler().date();
}

// Sending

void ClientConnection::post(OutgoingFrame frame, Droppable droppable, Purpose purpose,
                            std::optional<StateKey> key) {
  gate_->accepted(frame.size());
  queue_.async([weak = weak_from_this(), frame = std::move(frame), droppable, purpose, key]() mutable {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (!self->closed_) self->path_->send(std::move(frame), droppable, purpose, key);
  });
}

void ClientConnection::sendControl(ControlMessage message) {
  if (auto frame = OutgoingFrame::control(message))
    post(std::move(*frame), Droppable::no, Purpose::answer, stateKeyOf(message));
}

void ClientConnection::sendState(OutgoingFrame frame, const std::optional<StateKey>& key,
                                 RepeatedState::Version content) {
  if (content == 0) return post(std::move(frame), Droppable::no, Purpose::other, key);
  queue_.async([weak = weak_from_this(), frame = std::move(frame), key, content]() mutable {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (self->hostState_.isToBeSent(content, frame.size(), self->gate_->deliveredRate()->load()))
      self->sendNow(std::move(frame), Purpose::other, key);
  });
}

void ClientConnection::sendFrame(OutgoingFrame frame, Droppable droppable) {
  post(std::move(frame), droppable, Purpose::other, std::nullopt);
}

// Sends on the queue, in place, so that the last message leaves before the connection closes.
void ClientConnection::reply(ControlMessage message) {
  queue_.assertCurrent();
  if (auto frame = OutgoingFrame::control(message))
    sendNow(std::move(*frame), Purpose::answer, stateKeyOf(message));
}

void ClientConnection::sendNow(OutgoingFrame frame, Purpose purpose, const std::optional<StateKey>& key) {
  if (closed_ || !path_) return;
  gate_->accepted(frame.size());
  path_->send(std::move(frame), Droppable::no, purpose, key);
}

void ClientConnection::answer(Question question, Answerer answerer) {
  queue_.assertCurrent();
  if (!closed_ && questions_.ask(question)) makeAnswer(question, answerer);
}

void ClientConnection::makeAnswer(Question question, Answerer answerer) {
  answerer(services_, [weak = weak_from_this(), question, answerer](std::optional<ControlMessage> message) {
    const auto self = weak.lock();
    if (!self) return;
    if (message) self->sendControl(std::move(*message));
    self->queue_.async([self, question, answerer] {
      self->queue_.assertCurrent();
      if (self->questions_.answered(question) && !self->closed_) self->makeAnswer(question, answerer);
    });
  });
}

// Requests one key frame, and none while pictures are being dropped: a key frame is never dropped and adds to
// the backlog.
void ClientConnection::repairStreams() {
  if (brokenStreams_.empty() || path_->isBackpressured()) return;
  for (const std::uint32_t streamID : std::exchange(brokenStreams_, {}))
    if (ClientStream* stream = streams_.find(streamID)) stream->requestKeyframe();
}

void ClientConnection::transportProgressed(const std::optional<PortError>& error) {
  queue_.assertCurrent();
  if (error) {
    Log::server.v(fmt::format("send failed: {}", error->description));
    teardown();
    return;
  }
  if (closed_) return;
  repairStreams();
  if (path_->takeLostAgentEvents()) sendAllAgents();
  receiveAgain();
}

// Replaces the events that a slow client has missed.
void ClientConnection::sendAllAgents() {
  if (!services_->agents) return;
  services_->agents->currentList([weak = weak_from_this()](std::vector<AgentDescriptor> list) {
    if (const auto self = weak.lock()) self->sendControl(message::AgentList{std::move(list)});
  });
}

void ClientConnection::sendVideo(std::uint32_t streamID, VideoPacketFlags flags, std::uint64_t ptsMicros,
                                 SharedBytes data, Droppable droppable) {
  const SharedVideoPacket packet{streamID, flags, ptsMicros, std::move(data)};
  OutgoingFrame frame = OutgoingFrame::video(packet);
  gate_->accepted(frame.size());
  queue_.async([weak = weak_from_this(), packet, frame = std::move(frame), droppable]() mutable {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (self->closed_) return;
    if (self->udpVideo_.carries(packet.flags)) {
      self->gate_->discarded(frame.size());
      self->udpVideo_.send(packet);
    } else if (!self->path_->send(std::move(frame), droppable, Purpose::other)) {
      self->brokenStreams_.insert(packet.streamID);
    }
  });
}

std::optional<PictureBudget> ClientConnection::admitPicture(PictureRequest request) {
  return gate_->admit(std::move(request));
}

bool ClientConnection::isBackpressured() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return !closed_ && path_ && path_->isBackpressured();
  });
}

void ClientConnection::openVideoChannel(std::uint16_t udpPort) {
  queue_.async([self = shared_from_this(), udpPort] {
    self->queue_.assertCurrent();
    if (!self->closed_) self->udpVideo_.open(udpPort);
  });
}

// The end

void ClientConnection::end() {
  queue_.assertCurrent();
  teardown(InputRouter::WaitingText::finish);
}

void ClientConnection::teardown(InputRouter::WaitingText text) {
  if (closed_) return;
  closed_ = true;
  waitingText_ = text;
  reader_.clear();
  if (handshake_.state() == AuthState::authenticated) {
    const auto& device = handshake_.clientDevice();
    Log::auth.event(fmt::format("client disconnected: {}", device ? device->name : "?"));
  }
  input_.leave(waitingText_);
  streams_.stopAll();
  files_.close();
  if (services_->agents) services_->agents->removeSink(this);
  if (services_->audio) services_->audio->unsubscribe(shared_from_this(), AudioStreamer::Acknowledge::no);
  gate_->close();
  if (path_) path_->handOverAll();
  connection_->cancel();
  if (onClose_) onClose_(*this);
}

}  // namespace quorl
