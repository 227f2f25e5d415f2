// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/FakeNetwork.h>

#include <algorithm>
#include <deque>
#include <utility>
#include <variant>

#include <QuorlHostCore/Concurrency/Scheduler.h>
#include <QuorlKit/Foundation/Check.h>

namespace quorl::test {

/// The state that both ends of a connection share.
struct FakeLink : std::enable_shared_from_this<FakeLink> {
  explicit FakeLink(Scheduler& fakeScheduler) : scheduler(fakeScheduler) {}

  struct Held {
    std::variant<OutgoingFrame, SharedBytes> content;
    NetworkConnection::Sent completion;

    Bytes encoded() const {
      const auto* frame = std::get_if<OutgoingFrame>(&content);
      return frame ? frame->encoded() : *std::get<SharedBytes>(content);
    }
    SharedBytes body() const {
      const auto* frame = std::get_if<OutgoingFrame>(&content);
      return frame ? frame->sharedBody() : std::get<SharedBytes>(content);
    }
    std::size_t size() const {
      const auto* frame = std::get_if<OutgoingFrame>(&content);
      return frame ? frame->size() : std::get<SharedBytes>(content)->size();
    }
  };

  Scheduler& scheduler;
  std::optional<HostPort> remote;
  std::shared_ptr<Flakiness> flakiness;

  // The host's end.
  std::optional<SerialQueue> queue;
  NetworkConnection::StateHandler handler;
  NetworkConnection::Receive pendingReceive;
  std::size_t receiveMaximum = 0;
  std::size_t largestReceive = 0;
  FakeAnswer answer = FakeAnswer::accepts;
  bool established = false;
  bool cancelled = false;
  bool released = false;
  std::size_t sendsAfterCancel = 0;

  // From the peer.
  Bytes inbound;
  bool finished = false;
  std::optional<PortError> failure;

  // To the peer.
  Bytes arrived;
  std::deque<Held> held;
  bool reading = true;
  bool acknowledging = true;
  std::uint64_t taken = 0;  // bytes
  std::uint64_t acknowledged = 0;
  std::optional<PortError> sendFailure;
  MonotonicTime lastDue{};

  // Runs `work` on the host's queue in the order of the calls, later if the network is flaky.
  void deliver(Scheduler::Work work) {
    if (!queue) return;
    if (!flakiness) {
      queue->async(std::move(work));
      return;
    }
    const auto span = static_cast<std::uint64_t>(flakiness->maximumDelay.count()) + 1;
    const std::chrono::microseconds delay(flakiness->random() % span);
    lastDue = std::max(lastDue + Duration(1), scheduler.now() + delay);
    scheduler.schedule(
        lastDue, [target = *queue, work = std::move(work)]() mutable { target.async(std::move(work)); });
  }

  void tellState(NetworkConnection::State state, PortError error = {}) {
    deliver([self = shared_from_this(), state, error = std::move(error)] {
      if (!self->released && self->handler) self->handler(state, error);
    });
  }

  void begin() {
    if (answer == FakeAnswer::accepts) {
      established = true;
      tellState(NetworkConnection::State::ready);
      takeHeld();
    } else if (answer == FakeAnswer::refuses) {
      fail(PortError{"Connection refused", 111});
    }
  }

  void fail(PortError error) {
    failure = std::move(error);
    tellState(NetworkConnection::State::failed, *failure);
    offerReceive();
  }

  void offerReceive() {
    if (!pendingReceive) return;
    deliver([self = shared_from_this()] { self->completeReceive(); });
  }

  void completeReceive() {
    if (cancelled || released || !pendingReceive) return;
    if (inbound.empty() && !finished && !failure) return;
    std::size_t count = std::min(receiveMaximum, inbound.size());
    if (flakiness && count > 1) count = 1 + flakiness->random() % count;
    const Bytes chunk(inbound.begin(), inbound.begin() + static_cast<std::ptrdiff_t>(count));
    inbound.erase(inbound.begin(), inbound.begin() + static_cast<std::ptrdiff_t>(count));
    largestReceive = std::max(largestReceive, count);
    auto completion = std::exchange(pendingReceive, nullptr);
    const bool isLast = inbound.empty();
    completion(chunk, isLast && finished, isLast ? failure : std::nullopt);
  }

  void send(Held sent) {
    if (cancelled || released) {
      ++sendsAfterCancel;
      return;
    }
    held.push_back(std::move(sent));
    takeHeld();
  }

  void takeHeld() {
    while (established && reading && !held.empty()) {
      Held sent = std::move(held.front());
      held.pop_front();
      const Bytes bytes = sent.encoded();
      arrived.insert(arrived.end(), bytes.begin(), bytes.end());
      taken += bytes.size();
      if (acknowledging) acknowledged = taken;
      deliver([self = shared_from_this(), completion = std::move(sent.completion)]() mutable {
        if (!self->cancelled && !self->released) completion(self->sendFailure);
      });
    }
  }

  std::size_t heldBytes() const {
    std::size_t sum = 0;
    for (const Held& sent : held) sum += sent.size();
    return sum;
  }

  void cancel() {
    if (cancelled) return;
    cancelled = true;
    pendingReceive = nullptr;
    held.clear();
    tellState(NetworkConnection::State::cancelled);
  }
};

namespace {

class FakeConnection final : public NetworkConnection {
 public:
  explicit FakeConnection(std::shared_ptr<FakeLink> link) : link_(std::move(link)) {}
  ~FakeConnection() override {
    link_->cancelled = true;
    link_->released = true;
    link_->pendingReceive = nullptr;
    link_->handler = nullptr;
    link_->held.clear();
  }

  void start(SerialQueue queue, StateHandler handler) override {
    link_->queue = std::move(queue);
    link_->handler = std::move(handler);
    link_->begin();
  }
  void receive(std::size_t maximum, Receive completion) override {
    QUORL_CHECK(!link_->pendingReceive, "one receive at a time");
    if (link_->cancelled) return;
    link_->receiveMaximum = maximum;
    link_->pendingReceive = std::move(completion);
    link_->offerReceive();
  }
  void send(OutgoingFrame frame, Sent completion) override {
    link_->send({std::move(frame), std::move(completion)});
  }
  void sendBytes(SharedBytes bytes, Sent completion) override {
    link_->send({std::move(bytes), std::move(completion)});
  }
  void cancel() override { link_->cancel(); }
  std::optional<HostPort> remoteEndpoint() const override { return link_->remote; }
  std::optional<HostPort> localEndpoint() const override { return HostPort{"10.0.0.1", 47'900}; }
  TransportProgress progress() override {
    return {.acknowledged = link_->acknowledged, .shortestRoundTrip = std::chrono::milliseconds(1)};
  }
  void limitUnsent(std::size_t) override {}

 private:
  const std::shared_ptr<FakeLink> link_;
};

class FakeDatagramSender final : public DatagramSender {
 public:
  FakeDatagramSender(HostPort peer, std::optional<std::string> localHost,
                     std::shared_ptr<std::vector<FakeNetwork::Datagram>> sent,
                     std::shared_ptr<std::size_t> live)
      : peer_(std::move(peer)),
        localHost_(std::move(localHost)),
        sent_(std::move(sent)),
        live_(std::move(live)) {
    ++*live_;
  }
  ~FakeDatagramSender() override { --*live_; }
  void send(Bytes datagram) override { sent_->push_back({peer_, localHost_, std::move(datagram)}); }

 private:
  const HostPort peer_;
  const std::optional<std::string> localHost_;
  const std::shared_ptr<std::vector<FakeNetwork::Datagram>> sent_;
  const std::shared_ptr<std::size_t> live_;
};

}  // namespace

class FakeListener final : public NetworkListener {
 public:
  FakeListener(std::shared_ptr<FakeMachine> machine, std::uint16_t port, SerialQueue queue,
               Network::ListenerHandlers handlers)
      : machine_(std::move(machine)),
        port_(port),
        queue_(std::move(queue)),
        handlers_(std::make_shared<Network::ListenerHandlers>(std::move(handlers))) {
    if (machine_->isTaken(port_) && !machine_->sharesPorts) {
      tell(Failed{PortError{"Address already in use", 98}});
      return;
    }
    machine_->listeners_.emplace(port_, this);
    tell(Ready{port_});
  }
  ~FakeListener() override { cancel(); }

  void cancel() override {
    handlers_ = nullptr;
    std::erase_if(machine_->listeners_, [this](const auto& entry) { return entry.second == this; });
  }

  void tell(State state) {
    queue_.async([weak = std::weak_ptr(handlers_), state = std::move(state)] {
      if (const auto handlers = weak.lock()) handlers->state(state);
    });
  }

  void offer(std::unique_ptr<NetworkConnection> connection) {
    queue_.async([weak = std::weak_ptr(handlers_), connection = std::move(connection)]() mutable {
      if (const auto handlers = weak.lock()) handlers->connection(std::move(connection));
    });
  }

 private:
  const std::shared_ptr<FakeMachine> machine_;
  const std::uint16_t port_;
  const SerialQueue queue_;
  std::shared_ptr<Network::ListenerHandlers> handlers_;
};

bool FakeMachine::isTaken(std::uint16_t port) const {
  return listeners_.contains(port);
}

std::vector<FakeListener*> FakeMachine::owners(std::uint16_t port) const {
  std::vector<FakeListener*> owners;
  const auto [first, last] = listeners_.equal_range(port);
  for (auto entry = first; entry != last; ++entry) owners.push_back(entry->second);
  return owners;
}

FakeNetwork::FakeNetwork(Scheduler& scheduler, std::shared_ptr<FakeMachine> machine)
    : scheduler_(scheduler), machine_(machine ? std::move(machine) : std::make_shared<FakeMachine>()) {}

std::expected<std::unique_ptr<NetworkListener>, PortError> FakeNetwork::listen(std::uint16_t port,
                                                                               SerialQueue queue,
                                                                               ListenerHandlers handlers) {
  QUORL_CHECK(port != 0, "a listener needs a port");
  ++listenAttempts_;
  if (failsCreation) return std::unexpected(PortError{"Too many open files", 24});
  return std::make_unique<FakeListener>(machine_, port, std::move(queue), std::move(handlers));
}

std::unique_ptr<NetworkConnection> FakeNetwork::connect(const HostPort& peer) {
  auto [connection, other] = makePair(peer);
  const auto answer = answers_.find({peer.host, peer.port});
  links_.back().lock()->answer = answer == answers_.end() ? FakeAnswer::refuses : answer->second;
  opened.push_back({peer, std::move(other)});
  return std::move(connection);
}

std::unique_ptr<DatagramSender> FakeNetwork::openDatagramSender(const HostPort& peer,
                                                                const std::optional<std::string>& localHost,
                                                                SerialQueue) {
  return std::make_unique<FakeDatagramSender>(peer, localHost, datagrams, liveDatagramSenders);
}

std::pair<std::unique_ptr<NetworkConnection>, std::shared_ptr<FakePeer>> FakeNetwork::makePair(
    std::optional<HostPort> from) {
  auto link = std::make_shared<FakeLink>(scheduler_);
  link->remote = std::move(from);
  link->flakiness = flakiness_;
  std::erase_if(links_, [](const auto& weak) { return weak.expired(); });
  links_.push_back(link);
  return {std::make_unique<FakeConnection>(link), std::make_shared<FakePeer>(link)};
}

std::shared_ptr<FakePeer> FakeNetwork::connect(std::uint16_t port, HostPort from) {
  const auto owners = machine_->owners(port);
  if (owners.empty()) return nullptr;
  auto [connection, peer] = makePair(std::move(from));
  owners.front()->offer(std::move(connection));
  return peer;
}

void FakeNetwork::failListener(std::uint16_t port, const std::string& why) {
  for (FakeListener* listener : machine_->owners(port))
    listener->tell(NetworkListener::Failed{PortError{why, 1}});
}

void FakeNetwork::repeatReady(std::uint16_t port) {
  for (FakeListener* listener : machine_->owners(port)) listener->tell(NetworkListener::Ready{port});
}

std::size_t FakeNetwork::liveConnections() const {
  return static_cast<std::size_t>(std::ranges::count_if(links_, [](const auto& weak) {
    const auto link = weak.lock();
    return link && !link->released;
  }));
}

std::size_t FakeNetwork::sendsAfterCancel() const {
  std::size_t sum = 0;
  for (const auto& weak : links_)
    if (const auto link = weak.lock()) sum += link->sendsAfterCancel;
  return sum;
}

std::size_t FakeNetwork::heldBytes() const {
  std::size_t most = 0;
  for (const auto& weak : links_)
    if (const auto link = weak.lock()) most = std::max(most, link->heldBytes());
  return most;
}

void FakePeer::write(ByteView bytes) {
  link_->inbound.insert(link_->inbound.end(), bytes.begin(), bytes.end());
  link_->offerReceive();
}

void FakePeer::writeFrame(FrameType type, ByteView payload) {
  write(Frame{type, Bytes(payload.begin(), payload.end())}.encoded());
}

void FakePeer::send(const ControlMessage& message) {
  const auto json = ControlCoder::encode(message);
  QUORL_CHECK(json.has_value(), "a test sends what cannot be encoded");
  writeFrame(FrameType::control, *json);
}

void FakePeer::finish() {
  link_->finished = true;
  link_->offerReceive();
}

void FakePeer::fail(const std::string& why) {
  link_->fail(PortError{why, 104});
}

void FakePeer::accept() {
  link_->answer = FakeAnswer::accepts;
  link_->begin();
}

void FakePeer::setReading(bool reading) {
  link_->reading = reading;
  link_->takeHeld();
}

std::vector<SharedBytes> FakePeer::heldBodies() const {
  std::vector<SharedBytes> bodies;
  for (const auto& held : link_->held) bodies.push_back(held.body());
  return bodies;
}

void FakePeer::setAcknowledging(bool acknowledging) {
  link_->acknowledging = acknowledging;
  if (acknowledging) link_->acknowledged = link_->taken;
}

void FakePeer::failSends(const std::string& why) {
  link_->sendFailure = PortError{why, 32};
}

Bytes FakePeer::takeBytes() {
  return std::exchange(link_->arrived, {});
}

std::vector<Frame> FakePeer::takeFrames() {
  const Bytes bytes = takeBytes();
  auto frames = deframer_.feed(bytes);
  QUORL_CHECK(frames.has_value(), "the host sent what is no frame");
  return std::move(*frames);
}

std::vector<ControlMessage> FakePeer::takeMessages() {
  std::vector<ControlMessage> messages;
  for (const Frame& frame : takeFrames()) {
    if (frame.type != FrameType::control) continue;
    auto message = ControlCoder::decode(frame.payload);
    QUORL_CHECK(message.has_value(), "the host sent what is no message");
    messages.push_back(std::move(*message));
  }
  return messages;
}

bool FakePeer::isClosedByHost() const {
  return link_->cancelled;
}

std::size_t FakePeer::heldBytes() const {
  return link_->heldBytes();
}

std::size_t FakePeer::sendsAfterCancel() const {
  return link_->sendsAfterCancel;
}

std::size_t FakePeer::unreadBytes() const {
  return link_->inbound.size();
}

std::size_t FakePeer::largestReceive() const {
  return link_->largestReceive;
}

}  // namespace quorl::test
