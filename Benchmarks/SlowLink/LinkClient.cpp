// SPDX-License-Identifier: GPL-3.0-or-later
#include "LinkClient.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <variant>

#include <QuorlKit/Protocol/MediaPackets.h>
#include <quorl-client/Session/Handshake.h>

namespace quorl::bench {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t streamID = 1;
constexpr auto echoInterval = 100ms;
constexpr auto keyInterval = 250ms;

}  // namespace

void LinkClient::Exchange::answered(Clock::time_point now) {
  if (pending.empty()) return;
  samples.add(now - pending.front());
  pending.pop_front();
}

Samples LinkClient::Exchange::finish(Clock::time_point now) {
  auto result = std::exchange(samples, {});
  result.unanswered = pending.size();
  for (const auto sent : pending) result.add(now - sent);
  return result;
}

LinkClient::LinkClient(const std::string& address, std::uint16_t port, const std::string& pin)
    : wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  const auto deadline = Clock::now() + 10s;
  for (;;) {
    const auto connected = connect(address, port, pin);
    if (connected) break;
    if (Clock::now() >= deadline) throw std::runtime_error("the host: " + connected.error().what);
    std::this_thread::sleep_for(100ms);
  }
  thread_ = std::thread([this] { run(); });
}

LinkClient::~LinkClient() {
  isStopping_ = true;
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = write(wake_, &one, sizeof(one));
  thread_.join();
  close(wake_);
}

client::Outcome<void> LinkClient::connect(const std::string& address, std::uint16_t port,
                                          const std::string& pin) {
  auto session = client::Session::connect({address, port}, waiter_, client::within(2s));
  if (!session) return std::unexpected(session.error());
  session_ = std::move(*session);
  const DeviceInfo device{"bench", "bench", "bench", UUID::random()};
  const auto greeting = client::greet(*session_, device, client::within(3s));
  if (!greeting) return std::unexpected(greeting.error());
  const auto paired = client::provePIN(*session_, pin, *greeting, client::within(3s));
  if (!paired) return std::unexpected(paired.error());
  return {};
}

void LinkClient::post(ControlMessage message) {
  {
    std::lock_guard lock(mutex_);
    posted_.push_back(std::move(message));
  }
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = write(wake_, &one, sizeof(one));
}

template <class Condition>
bool LinkClient::await(std::chrono::milliseconds limit, Condition condition) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, limit, [&] { return condition() || !failure_.empty(); }) && failure_.empty();
}

void LinkClient::openTerminal() {
  const AgentSpawnConfig config{"bench", "stty raw -echo; printf ready; exec cat", "~", {}};
  post(ControlMessage(message::AgentCommand{agentCommand::Spawn{config}}));
  if (!await(10s, [this] { return startedTerminal_.has_value(); }))
    throw std::runtime_error("the host did not start the agent: " + failure());
  const UUID id = *startedTerminal_;
  post(ControlMessage(message::AgentCommand{agentCommand::Subscribe{id}}));
  if (!await(10s, [this] { return terminalText_.find("ready") != std::string::npos; }))
    throw std::runtime_error("no output from the agent: " + failure());
  std::lock_guard lock(mutex_);
  terminal_ = id;
}

void LinkClient::startStream() {
  StartStream request;
  request.streamID = streamID;
  request.target = streamTarget::Unified{};
  request.config = StreamConfig{1920, 60, VideoCodec::h264, 1.0, false};
  post(ControlMessage(message::StartStream{std::move(request)}));
}

Clock::time_point LinkClient::stopStream() {
  const auto now = Clock::now();
  post(ControlMessage(message::StopStream{streamID}));
  return now;
}

void LinkClient::startProbing() {
  std::lock_guard lock(mutex_);
  echoes_ = {.pending = std::move(echoes_.pending), .samples = {}, .next = Clock::now()};
  keys_ = {.pending = std::move(keys_.pending), .samples = {}, .next = Clock::now()};
  isProbing_ = true;
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = write(wake_, &one, sizeof(one));
}

void LinkClient::stopProbing(Samples& echoes, Samples& keys) {
  std::lock_guard lock(mutex_);
  isProbing_ = false;
  const auto now = Clock::now();
  echoes = echoes_.finish(now);
  keys = keys_.finish(now);
}

bool LinkClient::settle(std::chrono::milliseconds limit) {
  std::uint32_t number = 0;
  {
    std::lock_guard lock(mutex_);
    number = ++echoNumber_;
    echoes_.pending.push_back(Clock::now());
  }
  post(ControlMessage(message::EchoRequest{{number, 0, {}}}));
  return await(limit, [&] { return lastEchoed_ >= number; });
}

std::optional<Clock::time_point> LinkClient::lastVideoArrival() const {
  std::lock_guard lock(mutex_);
  return lastVideoArrival_;
}

std::string LinkClient::failure() const {
  std::lock_guard lock(mutex_);
  return failure_;
}

void LinkClient::run() {
  const auto step = [this]() -> client::Outcome<void> {
    if (auto sent = sendPosted(); !sent) return sent;
    if (auto sent = sendProbes(Clock::now()); !sent) return sent;
    const std::array<int, 1> others{wake_};
    if (const auto ready = session_->wait(client::within(10ms), others); !ready)
      return std::unexpected(ready.error());
    while (const auto frame = session_->takeFrame()) handle(*frame);
    return {};
  };
  while (!isStopping_) {
    const auto done = step();
    if (done) continue;
    std::lock_guard lock(mutex_);
    failure_ = done.error().what;
    changed_.notify_all();
    return;
  }
}

client::Outcome<void> LinkClient::sendPosted() {
  std::uint64_t ignored = 0;
  [[maybe_unused]] const auto count = read(wake_, &ignored, sizeof(ignored));
  std::deque<ControlMessage> messages;
  {
    std::lock_guard lock(mutex_);
    messages.swap(posted_);
  }
  for (const auto& message : messages)
    if (auto sent = session_->send(message); !sent) return sent;
  return {};
}

client::Outcome<void> LinkClient::sendProbes(Clock::time_point now) {
  std::lock_guard lock(mutex_);
  if (!isProbing_) return {};
  if (now >= echoes_.next) {
    echoes_.next += echoInterval;
    echoes_.pending.push_back(now);
    if (auto sent = session_->send(ControlMessage(message::EchoRequest{{++echoNumber_, 0, {}}})); !sent)
      return sent;
  }
  if (terminal_ && now >= keys_.next) {
    keys_.next += keyInterval;
    keys_.pending.push_back(now);
    return session_->send(
        ControlMessage(message::AgentCommand{agentCommand::Write{*terminal_, bytesOf("x")}}));
  }
  return {};
}

void LinkClient::handle(const Frame& frame) {
  if (frame.type == FrameType::video) {
    auto packet = VideoPacket::decode(frame.payload);
    if (!packet || packet->streamID != streamID) return;
    videoBytes_ += packet->data.size();
    if (packet->flags.contains(VideoPacketFlags::codecConfig)) {
      decoder_.configure(std::move(packet->data));
      return;
    }
    {
      std::lock_guard lock(mutex_);
      lastVideoArrival_ = Clock::now();
    }
    decoder_.decode(std::move(packet->data), packet->ptsMicros);
    return;
  }
  if (frame.type == FrameType::terminal) {
    handleTerminal(frame);
    return;
  }
  const auto decoded = session_->decodeControl(frame);
  if (!decoded) return;
  std::lock_guard lock(mutex_);
  if (const auto* reply = std::get_if<message::EchoReply>(&*decoded)) {
    echoes_.answered(Clock::now());
    lastEchoed_ = reply->_0.seq;
  } else if (const auto* list = std::get_if<message::AgentList>(&*decoded)) {
    for (const auto& row : list->_0)
      if (row.kind == AgentKind::pty) startedTerminal_ = row.id;
  } else if (const auto* event = std::get_if<message::AgentEvent>(&*decoded)) {
    if (const auto* updated = std::get_if<agentEvent::Updated>(&event->_0))
      if (updated->_0.kind == AgentKind::pty) startedTerminal_ = updated->_0.id;
  }
  changed_.notify_all();
}

void LinkClient::handleTerminal(const Frame& frame) {
  const auto payload = TerminalPayloadView::decode(frame.payload);
  if (!payload) return;
  const auto now = Clock::now();
  std::lock_guard lock(mutex_);
  if (!terminal_) {
    terminalText_ += textViewOf(payload->data);
    changed_.notify_all();
    return;
  }
  for (const auto byte : payload->data)
    if (byte == 'x') keys_.answered(now);
}

}  // namespace quorl::bench
