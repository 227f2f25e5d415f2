// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/LinkWorker.h>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Hosts/PairedSession.h>

namespace quorl::viewer {
namespace {

using client::Deadline;
using client::ExitCode;
using client::within;

constexpr auto goodbye = std::chrono::milliseconds(500);
constexpr auto measureInterval = std::chrono::seconds(1);
constexpr auto noDeadline = std::chrono::hours(24);
// The unsent bytes that the kernel accepts (tcp(7)): later input waits in the outbox, where it is merged.
constexpr int unsentLimit = 16'384;

ClientError overflow() {
  return {ExitCode::failure, "the host does not read what it is sent", "It may be overloaded."};
}

}  // namespace

LinkWorker::LinkWorker(LinkSettings settings, LinkListener& listener, LinkInbox& inbox,
                       std::atomic<std::uint64_t>& waits)
    : settings_(std::move(settings)),
      listener_(listener),
      inbox_(inbox),
      waits_(waits),
      resume_(settings_.sleptTime),
      streams_(listener, [this](const ControlMessage& message) { send(message); }),
      frames_(listener, streams_),
      bulk_(settings_.host, settings_.device, [&inbox](std::optional<client::ClientError> error) {
        inbox.postClipboardResult(std::move(error));
      }) {}

void LinkWorker::run() {
  apply(machine_.start(Clock::now()));
  for (;;) {
    handleInbox();
    if (ends_) break;
    const auto now = Clock::now();
    if (resume_.hasSlept()) apply(machine_.resumed(now));
    if (network_.hasGained()) apply(machine_.networkGained(now));
    apply(machine_.tick(now));
    if (std::exchange(hasOverflowed_, false)) apply(machine_.failed(overflow(), now));
    if (std::exchange(wantsAttempt_, false))
      attempt();
    else if (session_)
      serve();
    else
      waitForChange();
  }
  if (session_) session_->finish(within(goodbye));
}

void LinkWorker::apply(const LinkMachine::Actions& actions) {
  if (actions.disconnects) disconnect();
  if (actions.connects) wantsAttempt_ = true;
  if (machine_.status().state != LinkStatus::State::connecting) wantsAttempt_ = false;
  if (actions.probes) probe(Clock::now());
  if (actions.reports) listener_.onStatus(machine_.status());
}

void LinkWorker::attempt() {
  waiter_.alsoWatched = inbox_.descriptor();
  waiter_.onWatched = [this]() -> client::Outcome<void> {
    handleInbox();
    if (ends_ || machine_.status().state != LinkStatus::State::connecting)
      return client::failed(ExitCode::interrupted, "cancelled");
    return {};
  };
  const auto questions = machine_.isByHand() ? client::Questions::allowed : client::Questions::refused;
  auto session = client::openPairedSession(settings_.host, settings_.device, waiter_,
                                           within(settings_.connectPatience), questions);
  waiter_.onWatched = nullptr;
  waiter_.alsoWatched = -1;
  if (ends_ || machine_.status().state != LinkStatus::State::connecting) return;
  if (session)
    begin(std::move(*session));
  else
    apply(machine_.failed(session.error(), Clock::now()));
}

void LinkWorker::begin(std::unique_ptr<client::Session> session) {
  session_ = std::move(session);
  ::setsockopt(session_->descriptor(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &unsentLimit, sizeof unsentLimit);
  knownBytes_ = session_->receivedBytes();
  ++connections_;
  const auto now = Clock::now();
  apply(machine_.connected(now));
  listener_.onHost(session_->hostDevice);
  if (transport_ == client::VideoTransport::udp) openDatagrams(now);
  streams_.connected(now);
  if (wantsSound_) send(ControlMessage(message::AudioControl{true}));
  measureAt_ = now;
}

void LinkWorker::disconnect() {
  if (!session_) return;
  pastBytes_ += session_->receivedBytes();
  outbox_.clear();
  closeDatagrams();
  ping_.reset();
  echo_.reset();
  // The host hears of a deliberate end at once; a broken connection loses the bye.
  [[maybe_unused]] const auto sent = session_->send(ControlMessage(message::Bye{}));
  session_.reset();
  frames_.disconnected();
  streams_.disconnected();
}

void LinkWorker::waitForChange() {
  std::array watched{pollfd{inbox_.descriptor(), POLLIN, 0}, pollfd{resume_.descriptor(), POLLIN, 0},
                     pollfd{network_.descriptor(), POLLIN, 0}};
  ++waits_;
  [[maybe_unused]] const auto ready = waiter_.wait(watched, nextDeadline());
}

Deadline LinkWorker::nextDeadline() const {
  Deadline deadline = within(noDeadline);
  const auto consider = [&](const std::optional<Clock::time_point>& time) {
    if (time) deadline = std::min(deadline, *time);
  };
  consider(machine_.due());
  if (!session_) return deadline;
  consider(streams_.due());
  if (measures_ && !echo_) consider(measureAt_);
  consider(datagramsDueBy_);
  if (datagramVideo_) consider(datagramVideo_->nextTick());
  return deadline;
}

void LinkWorker::serve() {
  flush(Clock::now());
  const std::array others{inbox_.descriptor(), resume_.descriptor(), network_.descriptor(),
                          datagramSocket_.descriptor.get()};
  const auto deadline = nextDeadline();
  ++waits_;
  const auto ready =
      outbox_.isEmpty() ? session_->wait(deadline, others) : session_->waitUntilSent(deadline, others);
  const auto now = Clock::now();
  if (session_->receivedBytes() != knownBytes_) {
    knownBytes_ = session_->receivedBytes();
    apply(machine_.heard(now));
  }
  while (session_) {
    const auto frame = session_->takeFrame();
    if (!frame) break;
    take(*frame, now);
  }
  if (!session_) return;
  if (!ready) return apply(machine_.failed(ready.error(), now));
  drainDatagrams(now);
  streams_.tick(now);
  measure(now);
}

void LinkWorker::take(const Frame& frame, Clock::time_point now) {
  if (frame.type == FrameType::pong) return takePong(frame, now);
  if (frame.type != FrameType::control) return frames_.take(frame, now);
  if (!HostFrames::isAcceptable(frame)) return frames_.ignore();
  auto message = session_->decodeControl(frame);
  if (!message) return frames_.ignore();
  if (takeEcho(*message, now)) return;
  if (const auto* closed = std::get_if<message::SessionClosed>(&*message)) {
    apply(machine_.failed(
        {ExitCode::refused, fmt::format("the host closed the session: {}", client::printable(closed->reason)),
         "Connect again when the host may be used."},
        now));
    return;
  }
  frames_.take(std::move(*message), frame.payload.size());
}

void LinkWorker::takePong(const Frame& frame, Clock::time_point now) {
  if (!ping_ || frame.payload != bytesOf(std::to_string(ping_->number))) return;
  const auto sentAt = ping_->sentAt;
  ping_.reset();
  reportRoundTrip(now - sentAt);
}

bool LinkWorker::takeEcho(const ControlMessage& control, Clock::time_point now) {
  const auto* reply = std::get_if<message::EchoReply>(&control);
  // Other numbers are the window's.
  if (reply == nullptr || reply->_0.seq >= linkCommand::Send::firstEcho) return false;
  if (!echo_ || reply->_0.seq != echo_->number) return true;
  const auto sentAt = echo_->sentAt;
  echo_.reset();
  reportRoundTrip(now - sentAt);
  return true;
}

void LinkWorker::reportRoundTrip(Clock::duration time) {
  listener_.onRoundTrip(time, counters());
}

LinkCounters LinkWorker::counters() const {
  LinkCounters counters;
  counters.receivedBytes = pastBytes_ + (session_ ? session_->receivedBytes() : 0);
  counters.lostPictures = pastLost_ + (datagramVideo_ ? datagramVideo_->lostFrames() : 0);
  counters.ignoredFrames = frames_.ignoredFrames();
  counters.connections = connections_;
  streams_.addTo(counters);
  return counters;
}

void LinkWorker::send(const ControlMessage& message) {
  if (!session_) return;
  if (auto frame = OutgoingFrame::control(message)) queue(std::move(*frame));
}

void LinkWorker::queue(OutgoingFrame frame) {
  if (!outbox_.push(std::move(frame))) hasOverflowed_ = true;
}

void LinkWorker::flush(Clock::time_point now) {
  while (session_ && session_->unsentBytes() == 0) {
    const auto frame = outbox_.pop();
    if (!frame) return;
    machine_.sent(now);
    // The next wait reports a failure.
    [[maybe_unused]] const auto sent = session_->send(*frame);
  }
}

void LinkWorker::probe(Clock::time_point now) {
  if (!session_) return;
  ping_ = Pending{++lastNumber_, now};
  [[maybe_unused]] const auto sent =
      session_->send(OutgoingFrame::raw(FrameType::ping, shareBytes(bytesOf(std::to_string(ping_->number)))));
}

void LinkWorker::measure(Clock::time_point now) {
  if (!measures_ || echo_ || now < measureAt_) return;
  measureAt_ = now + measureInterval;
  echo_ = Pending{++lastNumber_, now};
  send(ControlMessage(message::EchoRequest{{echo_->number, 0, {}}}));
}

}  // namespace quorl::viewer
