// SPDX-License-Identifier: GPL-3.0-or-later
#include "SimulatedWorld.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include <QuorlHostCore/Session/ClientConnection.h>
#include <QuorlHostCore/Session/ConnectionServer.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlKit/Auth/Pairing.h>
#include <QuorlKit/Protocol/InputEvents.h>

namespace quorl::test {

namespace {

constexpr std::uint16_t port = 47900;
// What the answers to one read may add to a backlog just below the threshold.
constexpr std::size_t backlogBound = ClientConnection::backpressureThreshold + (8U << 20);

}  // namespace

// The client

SimulatedClient::SimulatedClient(std::uint64_t seed, Manner manner, HostPort address)
    : random_(seed), manner_(manner), address_(std::move(address)) {}

void SimulatedClient::act(FakeNetwork& network, std::uint16_t hostPort, const std::string& pin) {
  if (peer_ && peer_->isClosedByHost() && draw(2) == 0) leave();
  if (!peer_) {
    peer_ = network.connect(hostPort, address_);
    return;
  }
  takeAnswers();
  if (draw(40) == 0) {
    draw(2) == 0 ? peer_->finish() : peer_->fail("reset");
    leave();
    return;
  }
  if (manner_ == Manner::hostile && draw(2) == 0) {
    makeNoise();
  } else if (authenticated_) {
    useSession();
  } else {
    shakeHands(pin);
  }
  pushSome();
}

void SimulatedClient::leave() {
  if (peer_) {
    takeAnswers();
    peer_->finish();
  }
  peer_.reset();
  outbox_.clear();
  nonce_.clear();
  saidHello_ = authenticated_ = false;
}

void SimulatedClient::takeAnswers() {
  for (const Frame& frame : peer_->takeFrames()) {
    if (frame.type == FrameType::video) ++tally_.videoFrames;
    if (frame.type != FrameType::control) continue;
    if (const auto message = ControlCoder::decode(frame.payload)) take(*message);
  }
}

void SimulatedClient::take(const ControlMessage& message) {
  if (const auto* ack = std::get_if<message::HelloAck>(&message)) {
    nonce_ = ack->_0.nonce;
    if (ack->_0.authenticated && !authenticated_) ++tally_.authentications;
    authenticated_ = ack->_0.authenticated;
  } else if (const auto* response = std::get_if<message::PairResponse>(&message)) {
    if (response->_0.token) token_ = response->_0.token;
  } else if (std::holds_alternative<message::StreamStarted>(message)) {
    ++tally_.streams;
  } else if (std::holds_alternative<message::Error>(message)) {
    ++tally_.errors;
  }
}

void SimulatedClient::say(const ControlMessage& message) {
  if (const auto json = ControlCoder::encode(message)) sayFrame(FrameType::control, *json);
}

void SimulatedClient::sayFrame(FrameType type, ByteView payload) {
  const Bytes bytes = Frame{type, Bytes(payload.begin(), payload.end())}.encoded();
  outbox_.insert(outbox_.end(), bytes.begin(), bytes.end());
}

// Part of the pending bytes, cut anywhere.
void SimulatedClient::pushSome() {
  if (outbox_.empty() || !peer_) return;
  const std::size_t count = draw(3) == 0 ? 1 + draw(outbox_.size()) : outbox_.size();
  peer_->write(ByteView(outbox_).first(count));
  outbox_.erase(outbox_.begin(), outbox_.begin() + static_cast<std::ptrdiff_t>(count));
}

void SimulatedClient::shakeHands(const std::string& pin) {
  const DeviceInfo device{"Client", "T1", "1", UUID{{static_cast<std::uint8_t>(address_.port)}}};
  if (!saidHello_ || draw(12) == 0) {
    saidHello_ = true;
    say(message::Hello{Hello{draw(30) == 0 ? 3U : 4U, device, std::nullopt}});
  } else if (!nonce_.empty() && token_ && draw(4) != 0) {
    say(message::Hello{Hello{4, device, Pairing::tokenProof(*token_, nonce_)}});
  } else if (!nonce_.empty()) {
    const bool knowsPIN = manner_ == Manner::honest && draw(8) != 0;
    say(message::PairRequest{{Pairing::pinProof(knowsPIN ? pin : "000000", nonce_)}});
  }
}

void SimulatedClient::useSession() {
  const auto streamID = static_cast<std::uint32_t>(1 + draw(10));
  switch (draw(12)) {
    case 0:
    case 1: {
      StartStream request{streamID, streamTarget::Unified{}, {}, std::nullopt, std::nullopt};
      if (draw(3) == 0) request.target = streamTarget::Display{static_cast<std::uint32_t>(draw(3))};
      if (draw(6) == 0) request.target = streamTarget::Window{static_cast<std::uint32_t>(draw(3))};
      request.config = {
          .maxDimension = 640, .maxFPS = 60, .codec = VideoCodec::h264, .quality = 0.5, .showsCursor = true};
      say(message::StartStream{request});
      break;
    }
    case 2:
      say(message::StopStream{.streamID = streamID});
      break;
    case 3:
      say(message::RequestKeyframe{.streamID = streamID});
      break;
    case 4:
      say(message::RequestHostState{});
      break;
    case 5:
      say(message::EchoRequest{EchoProbe{1, 2, Bytes(draw(2000))}});
      break;
    case 6:
      say(message::VideoTransport{.udpPort = static_cast<std::uint16_t>(draw(2) * 6000)});
      break;
    case 7:
      say(message::InsertText{"text"});
      break;
    case 8:
      if (draw(6) == 0) say(message::Bye{});
      break;
    case 9:
      peer_->setReading(draw(3) != 0);
      break;
    default:
      drive();
      break;
  }
}

void SimulatedClient::drive() {
  const auto streamID = static_cast<std::uint32_t>(1 + draw(10));
  InputEvent event;
  if (draw(2) == 0) {
    event = inputEvent::Pointer{.streamID = streamID,
                                .phase = static_cast<PointerPhase>(draw(4)),
                                .button = static_cast<PointerButton>(draw(3)),
                                .x = 0.5F,
                                .y = 0.5F,
                                .clickCount = 1,
                                .pressure = 0,
                                .modifiers = {}};
  } else {
    event = inputEvent::Key{
        .keyCode = static_cast<std::uint16_t>(draw(4)), .down = draw(2) == 0, .modifiers = {}};
  }
  sayFrame(FrameType::input, event.encoded());
}

void SimulatedClient::makeNoise() {
  switch (draw(6)) {
    case 0: {
      Bytes noise(draw(200));
      for (std::uint8_t& byte : noise) byte = static_cast<std::uint8_t>(random_());
      outbox_.insert(outbox_.end(), noise.begin(), noise.end());
      break;
    }
    case 1:
      for (int count = 0; count < 500; ++count) sayFrame(FrameType::ping, {});
      break;
    case 2:
      sayFrame(FrameType::control, bytesOf("{\"nonsense\":{}}"));
      break;
    case 3:
      sayFrame(FrameType::input, Bytes(draw(40), 1));
      break;
    case 4:
      peer_->setReading(false);
      break;
    default:
      // An announced length that never arrives.
      outbox_.insert(outbox_.end(), {0x01, 0x01, 0x00, 0x00, 0x00});
      break;
  }
}

// The world

SimulatedWorld::SimulatedWorld(std::uint64_t seed, Fault fault)
    : random_(seed), fault_(fault), scheduler_(seed) {
  machine_->sharesPorts = fault_ == Fault::sharedPort;
  console_->user = "anna";
  startHost("anna", seed);
  if (fault_ == Fault::sharedPort || draw(2) == 0) startHost("bea", seed + 1);
  const std::uint64_t clients = 1 + draw(5);
  for (std::uint64_t number = 0; number < clients; ++number) {
    using Manner = SimulatedClient::Manner;
    const Manner manner = draw(4) == 0 ? Manner::hostile : draw(5) == 0 ? Manner::guesser : Manner::honest;
    clients_.emplace_back(seed * 31 + number, manner,
                          HostPort{"10.0.0.2", static_cast<std::uint16_t>(50'000 + number)});
  }
  scheduler_.afterEachStep([this] { checkLaws(); });
}

SimulatedWorld::~SimulatedWorld() = default;

void SimulatedWorld::startHost(const std::string& user, std::uint64_t seed) {
  platforms_.push_back(std::make_unique<FakePlatform>(scheduler_, user, seed, machine_, console_));
  FakePlatform& platform = *platforms_.back();
  platform.network->makeFlaky(std::make_shared<Flakiness>(seed));
  HostCoreConfig config = HostCoreConfig::menuBar;
  config.multiUserPortHandoff = fault_ == Fault::none;
  runtimes_.push_back(HostRuntime::make(config, platform.platform()));
  if (!runtimes_.back()->start()) broken("a host did not start");
}

std::vector<std::string> SimulatedWorld::run(int actions) {
  for (int count = 0; count < actions; ++count) {
    act();
    passTime();
  }
  checkEnd();
  return broken_;
}

void SimulatedWorld::act() {
  if (platforms_.size() > 1 && draw(50) == 0) {
    const std::vector<std::optional<std::string>> users{"anna", "bea", std::nullopt};
    console_->handTo(users[draw(users.size())]);
    return;
  }
  const std::size_t host = draw(platforms_.size());
  FakePlatform& platform = *platforms_[host];
  if (draw(4) == 0 && !platform.screen->streams().empty()) {
    platform.screen->deliverPicture(
        static_cast<int>(steps_),
        std::chrono::microseconds(scheduler_.now().time_since_epoch().count() / 1000));
    return;
  }
  if (draw(60) == 0) platform.permissions->input = !platform.permissions->input;
  if (draw(200) == 0) platform.network->failListener(port, "network down");
  // A client finds the host that serves the port, as on a real machine.
  clients_[draw(clients_.size())].act(*platform.network, port, runtimes_[host]->pairing()->pin());
}

void SimulatedWorld::passTime() {
  if (draw(20) == 0) {
    scheduler_.advance(std::chrono::milliseconds(draw(2000)));
    return;
  }
  const std::uint64_t pieces = draw(30);
  for (std::uint64_t count = 0; count < pieces; ++count)
    if (!scheduler_.step()) scheduler_.advance(std::chrono::milliseconds(1 + draw(10)));
}

void SimulatedWorld::broken(const std::string& law) {
  if (std::ranges::find(broken_, law) == broken_.end()) broken_.push_back(law);
}

void SimulatedWorld::checkLaws() {
  ++steps_;
  if (machine_->owners(port).size() > 1) broken("a port has more than one owner");
  for (const auto& platform : platforms_) {
    if (platform->network->sendsAfterCancel() != 0) broken("something was sent after the teardown");
    if (platform->network->heldBytes() > backlogBound) broken("a client's backlog is not bounded");
  }
  // Reading the register runs the pending work of its queue, so it must not happen at every step.
  if (steps_ % 64 != 0) return;
  for (const auto& runtime : runtimes_) {
    const auto clients = runtime->server()->clientRegister();
    if (!clients.isConsistent || clients.authenticated > clients.connections)
      broken("the register names a client that is none");
  }
}

void SimulatedWorld::checkEnd() {
  for (SimulatedClient& client : clients_) client.leave();
  scheduler_.advance(std::chrono::seconds(5));
  for (const auto& runtime : runtimes_) {
    if (runtime->server()->clientRegister().connections != 0)
      broken("a client that left is still registered");
    runtime->stop();
  }
  scheduler_.advance(std::chrono::seconds(5));
  runtimes_.clear();
  scheduler_.advance(std::chrono::seconds(5));
  if (!machine_->owners(port).empty()) broken("the port is still taken");
  if (scheduler_.pendingTimers() != 0) broken("a timer outlives its host");
  for (const auto& platform : platforms_) {
    if (platform->network->liveConnections() != 0) broken("a connection outlives its host");
    if (*platform->network->liveDatagramSenders != 0) broken("a datagram channel outlives its host");
    if (platform->advertiser->live() != 0) broken("an advertisement outlives its host");
    if (platform->screen->runningStreams() != 0) broken("a capture outlives its host");
    if (platform->compressors->runningSessions() != 0) broken("an encoder outlives its host");
    checkNothingHeld(platform->events->posted);
  }
}

void SimulatedWorld::checkNothingHeld(const std::vector<SyntheticEvent>& posted) {
  std::map<std::uint16_t, bool> keys;
  std::set<PointerButton> buttons;
  for (const SyntheticEvent& event : posted) {
    if (const auto* key = std::get_if<KeyboardEvent>(&event)) {
      if (key->unicode.empty()) keys[key->keyCode] = key->down;
    } else if (const auto* mouse = std::get_if<MouseEvent>(&event)) {
      using Type = MouseEventType;
      if (mouse->type == Type::leftDown || mouse->type == Type::rightDown || mouse->type == Type::otherDown)
        buttons.insert(mouse->button);
      if (mouse->type == Type::leftUp || mouse->type == Type::rightUp || mouse->type == Type::otherUp)
        buttons.erase(mouse->button);
    }
  }
  if (std::ranges::any_of(keys, [](const auto& entry) { return entry.second; }))
    broken("a key is still down");
  if (!buttons.empty()) broken("a button is still down");
}

SimulatedClient::Tally SimulatedWorld::tally() const {
  SimulatedClient::Tally sum;
  for (const SimulatedClient& client : clients_) {
    sum.authentications += client.tally().authentications;
    sum.streams += client.tally().streams;
    sum.videoFrames += client.tally().videoFrames;
    sum.errors += client.tally().errors;
  }
  return sum;
}

}  // namespace quorl::test
