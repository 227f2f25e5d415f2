// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/Attachment.h>

#include <poll.h>

#include <algorithm>
#include <array>

#include <QuorlKit/Protocol/MediaPackets.h>
#include <fmt/format.h>

namespace quorl::client {
namespace {

// A paste is sent in pieces of this size, so that an interrupt typed after it does not wait for long.
constexpr std::size_t pieceSize = 16'384;
// The limit of unsent input; above it nothing is read from the terminal.
constexpr std::size_t maxTyped = 64U << 20;
constexpr auto connectPatience = std::chrono::seconds(5);
constexpr auto lateReplay = std::chrono::milliseconds(500);
constexpr auto lastWordsLimit = std::chrono::seconds(3);
// The time to send keys typed before the detach key.
constexpr auto farewell = std::chrono::seconds(2);

constexpr UUID noAgent{};

bool hasEnded(AgentStatus status) {
  return status == AgentStatus::exited || status == AgentStatus::error;
}

}  // namespace

Attachment::Attachment(AgentDescriptor agent, DetachKey key, RawTerminal& terminal, Waiter& waiter,
                       Opener reopen)
    : agent_(std::move(agent)),
      terminal_(terminal),
      waiter_(waiter),
      reopen_(std::move(reopen)),
      keys_(key),
      detachName_(key.name),
      output_(agent_.kind, terminal) {}

Outcome<Attachment::End> Attachment::run(std::unique_ptr<Session> session) {
  session_ = std::move(session);
  auto slowNotice = std::exchange(waiter_.onSlow, nullptr);
  const auto result = runConnected();
  waiter_.onSlow = std::move(slowNotice);
  output_.end();
  if (result && session_ && *result == End::detached) {
    if (session_->send(ControlMessage(message::AgentCommand{agentCommand::Unsubscribe{agent_.id}})))
      session_->finish(within(std::chrono::milliseconds(500)));
  }
  return result;
}

Outcome<Attachment::End> Attachment::runConnected() {
  auto begun = begin();
  for (;;) {
    auto result = std::move(begun);
    while (result) {
      result = takeFrames();
      if (result) result = readKeys();
      if (result) result = sendWhatIsDue();
      const auto now = Clock::now();
      if (result && hasDetached_ && ((typed_.empty() && inFlight_.empty()) || now >= detachedAt_ + farewell))
        return End::detached;
      if (result && end_ && (now >= quietUntil_ || now >= endDeadline_)) return *end_;
      if (!result) break;
      const std::array watched{terminal_.signals(), terminal_.input()};
      const std::size_t count = typedBytes_ < maxTyped && !hasDetached_ ? 2 : 1;
      const auto ready = session_->wait(nextDeadline(), std::span(watched).first(count));
      if (!ready) {
        result = std::unexpected(ready.error());
        break;
      }
      if (session_->unsentBytes() == 0) inFlight_.clear();
      result = handleSignals();
    }
    if (result.error().code == ExitCode::interrupted) return std::unexpected(result.error());
    const auto end = reconnect(result.error());
    if (!end) return std::unexpected(end.error());
    if (*end) return **end;
    begun = begin();
  }
}

Outcome<void> Attachment::begin() {
  output_.beginSubscription();
  isListNext_ = false;
  const auto now = Clock::now();
  link_ = LinkWatch(now);
  backoff_.connected(now);
  if (const auto size = terminal_.size()) resizes_.note(*size);
  resizes_.forgetWhatWasSent();
  if (auto nudged = askForRepaint(); !nudged) return nudged;
  // The size first, so that the program paints with it.
  if (auto sent = sendWhatIsDue(); !sent) return sent;
  // The host handles these in order and makes the list after the replay, so the list marks the end of the
  // replay and also shows whether the agent had already ended. Other lists may be on their way: the right one
  // follows the refusal of an agent that cannot exist.
  const ControlMessage subscribe(message::AgentCommand{agentCommand::Subscribe{agent_.id}});
  const ControlMessage nobody(message::AgentCommand{agentCommand::Subscribe{noAgent}});
  for (const ControlMessage& message : {subscribe, nobody, ControlMessage(message::RequestAgentList{})})
    if (auto sent = session_->send(message); !sent) return sent;
  return {};
}

// Programs repaint when the size changes, but the same size again is no change. The right size follows at
// once.
Outcome<void> Attachment::askForRepaint() {
  const auto size = terminal_.size();
  if (!size || !output_.isInAlternateScreen()) return {};
  const agentCommand::ResizePTY other{agent_.id, size->columns, std::max<std::int64_t>(size->rows - 1, 1)};
  return session_->send(ControlMessage(message::AgentCommand{other}));
}

Outcome<void> Attachment::takeFrames() {
  while (const auto frame = session_->takeFrame()) {
    if (auto taken = take(*frame); !taken) return taken;
    // Keys must not wait for a flood of output that has already arrived.
    if (auto read = readKeys(); !read) return read;
    if (auto sent = sendKeys(); !sent) return sent;
  }
  return {};
}

Outcome<void> Attachment::take(const Frame& frame) {
  if (frame.type == FrameType::terminal) {
    const auto payload = TerminalPayloadView::decode(frame.payload);
    if (!payload || payload->agentID != agent_.id) return {};
    if (end_) quietUntil_ = within(lastWords);
    auto shown = output_.show(payload->data);
    // After the output was written: a slow terminal must not count as silence of the host.
    link_.heard(Clock::now());
    return shown;
  }
  const auto message = session_->decodeControl(frame);
  if (message) take(*message);
  // What the host sends unasked does not show that it hears this client.
  const bool isUnasked = message && (std::holds_alternative<message::HostState>(*message) ||
                                     std::holds_alternative<message::Metrics>(*message));
  if (!isUnasked) link_.heard(Clock::now());
  return {};
}

void Attachment::take(const ControlMessage& message) {
  if (const auto* list = std::get_if<message::AgentList>(&message)) {
    if (isListNext_) output_.endReplay();
    const auto found = std::ranges::find(list->_0, agent_.id, &AgentDescriptor::id);
    if (found != list->_0.end())
      note(*found);
    else if (!end_)
      end_ = End::lost;
  } else if (const auto* event = std::get_if<message::AgentEvent>(&message)) {
    if (const auto* updated = std::get_if<agentEvent::Updated>(&event->_0);
        updated && updated->_0.id == agent_.id)
      note(updated->_0);
    const auto* removed = std::get_if<agentEvent::Removed>(&event->_0);
    if (removed != nullptr && removed->id == agent_.id && !end_) end_ = End::lost;
  } else if (const auto* error = std::get_if<message::Error>(&message)) {
    if (error->_0.code != "agent.unknown") return;
    if (error->_0.message.ends_with(noAgent.text())) {
      isListNext_ = true;
      session_->forgetHostError();  // `begin` caused it
    } else if (!end_) {
      end_ = End::lost;
    }
  }
}

void Attachment::note(const AgentDescriptor& row) {
  if (end_ || !hasEnded(row.status)) return;
  end_ = End::ended;
  quietUntil_ = within(output_.hasOutputOfSubscription() ? lastWords : lateReplay);
  endDeadline_ = within(lastWordsLimit);
}

Outcome<void> Attachment::handleSignals() {
  const auto signals = terminal_.takeSignals();
  if (signals.hasToStop) {
    output_.suspend();
    terminal_.stopProcess();
  }
  if (signals.hasToStop || signals.hasContinued) {
    output_.resume();
    resizes_.forgetWhatWasSent();
    if (session_) {
      if (auto asked = askForRepaint(); !asked) return asked;
    }
    link_.heard(Clock::now());
  }
  if (const auto size = terminal_.size()) resizes_.note(*size);
  return {};
}

Outcome<void> Attachment::readKeys() {
  if (hasDetached_) return {};
  if (keys_.hasDetached(Clock::now())) {
    hasDetached_ = true;
    detachedAt_ = Clock::now();
    return {};
  }
  if (typedBytes_ >= maxTyped) return {};
  const auto bytes = terminal_.read();
  if (!bytes) return std::unexpected(bytes.error());
  if (bytes->empty()) return {};
  auto result = keys_.feed(*bytes, Clock::now());
  typedBytes_ += result.passed.size();
  if (!result.passed.empty()) typed_.push_back(std::move(result.passed));
  hasDetached_ = result.hasDetached;
  if (hasDetached_) detachedAt_ = Clock::now();
  return {};
}

Outcome<void> Attachment::sendWhatIsDue() {
  const auto now = Clock::now();
  if (const auto size = resizes_.take(now)) {
    const agentCommand::ResizePTY resize{agent_.id, size->columns, size->rows};
    if (auto sent = session_->send(ControlMessage(message::AgentCommand{resize})); !sent) return sent;
  }
  switch (link_.act(now)) {
    case LinkWatch::Action::none:
      break;
    case LinkWatch::Action::ask:
      if (auto sent = session_->send(OutgoingFrame::raw(FrameType::ping, shareBytes({}))); !sent) return sent;
      break;
    case LinkWatch::Action::giveUp:
      return failed(ExitCode::failure, "the host is silent");
  }
  return sendKeys();
}

// The socket holds one piece at a time, so that after a break it is known which one was cut.
Outcome<void> Attachment::sendKeys() {
  if (session_->unsentBytes() == 0) inFlight_.clear();
  while (!typed_.empty() && inFlight_.empty()) {
    auto& front = typed_.front();
    if (front.size() <= pieceSize) {
      inFlight_ = std::move(front);
      typed_.pop_front();
    } else {
      const auto end = front.begin() + pieceSize;
      inFlight_.assign(front.begin(), end);
      front.erase(front.begin(), end);
    }
    typedBytes_ -= inFlight_.size();
    const agentCommand::Write write{agent_.id, inFlight_};
    if (auto sent = session_->send(ControlMessage(message::AgentCommand{write})); !sent) return sent;
    if (session_->unsentBytes() == 0) inFlight_.clear();
  }
  return {};
}

Deadline Attachment::nextDeadline() const {
  auto deadline = link_.due();
  if (const auto due = resizes_.due()) deadline = std::min(deadline, *due);
  if (const auto leaves = keys_.due(); leaves && !hasDetached_) deadline = std::min(deadline, *leaves);
  if (end_) deadline = std::min({deadline, quietUntil_, endDeadline_});
  if (hasDetached_) deadline = std::min<Deadline>(deadline, detachedAt_ + farewell);
  return deadline;
}

Outcome<std::optional<Attachment::End>> Attachment::reconnect(const ClientError& reason) {
  session_.reset();
  backoff_.lost(Clock::now());
  if (!inFlight_.empty()) {
    typedBytes_ += inFlight_.size();
    typed_.push_front(std::exchange(inFlight_, {}));
  }
  // No more output comes from an ended agent.
  if (end_) return end_;
  auto what = reason.what;
  waiter_.alsoWatched = terminal_.input();
  waiter_.onWatched = [this]() -> Outcome<void> {
    if (auto read = readKeys(); !read) return read;
    if (typedBytes_ >= maxTyped) waiter_.alsoWatched = -1;
    return leaveIfDue();
  };
  Outcome<std::optional<End>> result;
  for (;;) {
    if (auto left = leaveIfDue(); !left) {
      result = End::detached;
      break;
    }
    showNotice(what);
    auto waited = waitForRetry();
    auto session = waited ? reopen_(within(connectPatience)) : std::unexpected(waited.error());
    if (session) {
      session_ = std::move(*session);
      output_.clearNotice();
      break;
    }
    const auto code = session.error().code;
    if (hasDetached_) {
      result = End::detached;
      break;
    }
    if (code == ExitCode::interrupted || code == ExitCode::refused || code == ExitCode::usage) {
      result = std::unexpected(session.error());
      break;
    }
    what = session.error().what;
  }
  waiter_.onWatched = nullptr;
  waiter_.alsoWatched = -1;
  return result;
}

void Attachment::showNotice(std::string_view text) {
  const auto leave = detachName_.empty() ? std::string() : fmt::format("; {} detaches", detachName_);
  output_.showNotice(fmt::format("[quorl: {} - trying again{}]", text, leave));
}

Outcome<void> Attachment::leaveIfDue() {
  // Nothing can be sent without the host, so a second press would have no effect: do not wait for it.
  if (keys_.due()) hasDetached_ = true;
  if (hasDetached_) return failed(ExitCode::interrupted, "detached");
  return {};
}

Outcome<void> Attachment::waitForRetry() {
  const auto deadline = within(backoff_.next());
  pollfd descriptor{terminal_.signals(), POLLIN, 0};
  for (;;) {
    const auto ready = waiter_.wait({&descriptor, 1}, deadline);
    if (!ready) return std::unexpected(ready.error());
    if (*ready == Waiter::Ready::deadline) return {};
    if (auto handled = handleSignals(); !handled) return handled;
  }
}

}  // namespace quorl::client
