// SPDX-License-Identifier: GPL-3.0-or-later
#include "Attachment.h"

#include <poll.h>

#include <algorithm>
#include <array>

#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Protocol/MediaPackets.h>
#include <QuorlKit/Terminal/EscapeSequences.h>
#include <QuorlKit/Terminal/TerminalPreamble.h>
#include <fmt/format.h>

namespace quorl::client {
namespace {

// A paste goes in pieces of this size, so that an interrupt typed behind it is not far behind.
constexpr std::size_t pieceSize = 16'384;
// So much may wait to be sent before no more is read from the terminal.
constexpr std::size_t maxTyped = 64U << 20;
constexpr auto connectPatience = std::chrono::seconds(5);
// What an agent printed last arrives before the news of its end, unless this terminal was slow.
constexpr auto lastWords = std::chrono::milliseconds(100);
constexpr auto lateReplay = std::chrono::milliseconds(500);
constexpr auto lastWordsLimit = std::chrono::seconds(3);
// For keys typed before the one that detaches.
constexpr auto farewell = std::chrono::seconds(2);

// CAN and RIS: how a host begins what it shows a terminal that did not keep up.
constexpr std::string_view afresh =
    "\x18\x1b"
    "c";
// CAN, cursor home, erase all (ECMA-48, CUP and ED).
constexpr std::string_view clearScreen = "\x18\x1b[0m\x1b[H\x1b[2J";
// xterm keeps titles on a stack.
constexpr std::string_view pushTitle = "\x1b[22;0t";
constexpr std::string_view popTitle = "\x1b[23;0t";
// The alternate screen, which keeps the cursor and the first one (xterm, mode 1049).
constexpr std::string_view ownScreen = "\x1b[?1049h";
constexpr std::string_view leaveOwnScreen = "\x1b[?1049l";

// How many bytes at the end begin a character whose rest has not come (UTF-8).
std::size_t unfinishedCharacterSize(ByteView text) {
  for (std::size_t size = 1; size <= std::min<std::size_t>(3, text.size()); ++size) {
    const auto byte = text[text.size() - size];
    if ((byte & 0xC0U) == 0x80U) continue;
    const std::size_t needed = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
    return needed > size ? size : 0;
  }
  return 0;
}

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
      detachName_(key.name) {}

Outcome<Attachment::End> Attachment::run(std::unique_ptr<Session> session) {
  session_ = std::move(session);
  auto slowNotice = std::exchange(waiter_.onSlow, nullptr);
  const auto result = runConnected();
  waiter_.onSlow = std::move(slowNotice);
  endOutput();
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
  isFirstOutput_ = true;
  hasReplay_ = isListNext_ = false;
  const auto now = Clock::now();
  link_ = LinkWatch(now);
  backoff_.connected(now);
  if (const auto size = terminal_.size()) resizes_.note(*size);
  resizes_.forgetWhatWasSent();
  if (auto nudged = askForRepaint(); !nudged) return nudged;
  // The size first, so that what the program paints for us has it.
  if (auto sent = sendWhatIsDue(); !sent) return sent;
  // The host does these in order. It makes the list after it has shown what it keeps, so the list says that
  // all of that has come, and when the agent had ended before. Other lists may be under way: the one that is
  // meant comes after the refusal of an agent that cannot be.
  const ControlMessage subscribe(message::AgentCommand{agentCommand::Subscribe{agent_.id}});
  const ControlMessage nobody(message::AgentCommand{agentCommand::Subscribe{noAgent}});
  for (const ControlMessage& message : {subscribe, nobody, ControlMessage(message::RequestAgentList{})})
    if (auto sent = session_->send(message); !sent) return sent;
  return {};
}

// Programs repaint when the size changes, and a size told again is no change. The right one follows at once.
Outcome<void> Attachment::askForRepaint() {
  const auto size = terminal_.size();
  if (!size || !modes_.isInAlternateScreen()) return {};
  const agentCommand::ResizePTY other{agent_.id, size->columns, std::max<std::int64_t>(size->rows - 1, 1)};
  return session_->send(ControlMessage(message::AgentCommand{other}));
}

Outcome<void> Attachment::takeFrames() {
  while (const auto frame = session_->takeFrame()) {
    if (auto taken = take(*frame); !taken) return taken;
    // After the output, for a terminal that was held up is not the host's silence.
    link_.heard(Clock::now());
    // In a flood a key must not wait for all that has already come.
    if (auto read = readKeys(); !read) return read;
    if (auto sent = sendKeys(); !sent) return sent;
  }
  return {};
}

Outcome<void> Attachment::take(const Frame& frame) {
  if (frame.type == FrameType::terminal) {
    const auto payload = TerminalPayloadView::decode(frame.payload);
    if (payload && payload->agentID == agent_.id) return show(payload->data);
  } else if (const auto message = session_->decodeControl(frame)) {
    take(*message);
  }
  return {};
}

Outcome<void> Attachment::show(ByteView output) {
  if (end_) quietUntil_ = within(lastWords);
  const bool isFirst = std::exchange(isFirstOutput_, false);
  if (const auto preamble = TerminalPreamble::of(output); preamble && isFirst) {
    if (preamble->before == TerminalPreamble::Before::history)
      return showReplay(preamble->modes, preamble->rest);
    seen_.append(preamble->rest);
    // Over a connection that broke, the modes of before may be the wrong ones.
    if (auto begun = beginAfresh(preamble->modes); !begun) return begun;
    return emit(preamble->rest);
  }
  if (isFirst && isReplay()) return showReplay({}, output);
  if (textViewOf(output).starts_with(afresh)) return showAfresh(output.subspan(afresh.size()));
  if (agent_.kind == AgentKind::externalTerminal) return showOfTab(output);
  seen_.append(output);
  return emit(output);
}

// What a host has kept comes first. It keeps nothing of a program that has printed nothing, whose first
// output is live; of a full screen it marks what comes; and a tab is always shown as a whole first.
bool Attachment::isReplay() const {
  return !hasReplay_ || seen_.hasAny() || agent_.kind == AgentKind::externalTerminal;
}

Outcome<void> Attachment::showReplay(ByteView modes, ByteView history) {
  const bool isTab = agent_.kind == AgentKind::externalTerminal;
  if (isTab) tab_.begin(history);
  const bool hasShown = seen_.hasAny();
  const auto join = hasShown && !isTab ? seen_.join(history) : SeenOutput::Join{};
  if (join.kind == SeenOutput::Join::Kind::follows) {
    const ByteView news = history.subspan(join.newFrom);
    seen_.append(news);
    return emit(fitForReplay(news));
  }
  seen_.append(history);
  if (hasShown) {
    if (auto begun = beginAfresh(bytesOf(clearScreen)); !begun) return begun;
  }
  if (auto emitted = emit(modes); !emitted) return emitted;
  return emit(fitForReplay(history));
}

// What a host sends to one that did not keep up. Its reset would take the person's own history with it.
Outcome<void> Attachment::showAfresh(ByteView output) {
  seen_.append(output);
  if (auto begun = beginAfresh(bytesOf(clearScreen)); !begun) return begun;
  return emit(fitForReplay(output));
}

// A tab's text comes in whole lines, or whole where it was painted anew.
Outcome<void> Attachment::showOfTab(ByteView output) {
  const bool isOnNewLine = seen_.endsInLineFeed();
  seen_.append(output);
  if (tab_.takeIsRepeat(output)) {
    const auto size = terminal_.size();
    const auto rows = size ? static_cast<std::size_t>(size->rows) : TabText::usualRows;
    Bytes redraw = bytesOf(clearScreen);
    const Bytes bottom = TabText::lastLines(output, rows);
    redraw.insert(redraw.end(), bottom.begin(), bottom.end());
    return emit(redraw);
  }
  if (!isOnNewLine) {
    if (auto ended = emit(bytesOf("\r\n")); !ended) return ended;
  }
  return emit(output);
}

// Out of whatever the terminal was left in, then `beginning`.
Outcome<void> Attachment::beginAfresh(ByteView beginning) {
  if (auto written = terminal_.write(modes_.restoring()); !written) return written;
  modes_ = TerminalModes();
  held_.clear();
  return emit(beginning);
}

// The beginning of a sequence or of a character waits for its rest: so whatever else is written to the
// terminal, a notice or the end of all, goes between two of them.
Outcome<void> Attachment::emit(ByteView output) {
  if (output.empty()) return {};
  modes_.follow(output);
  Bytes joined;
  if (!held_.empty()) {
    joined = std::exchange(held_, {});
    joined.insert(joined.end(), output.begin(), output.end());
    output = joined;
  }
  const auto unfinished = std::max(modes_.unfinishedSize(), unfinishedCharacterSize(output));
  const auto whole = output.size() - std::min(unfinished, output.size());
  held_.assign(output.begin() + static_cast<std::ptrdiff_t>(whole), output.end());
  if (modes_.hasTitle() && !std::exchange(hasChangedTitle_, true)) {
    if (auto kept = terminal_.write(bytesOf(pushTitle)); !kept) return kept;
  }
  terminal_.setRestoring(restoring());
  return terminal_.write(output.first(whole));
}

Bytes Attachment::restoring() const {
  Bytes bytes = modes_.restoring();
  const ByteView title = hasChangedTitle_ ? viewOf(popTitle) : ByteView();
  bytes.insert(bytes.end(), title.begin(), title.end());
  return bytes;
}

void Attachment::take(const ControlMessage& message) {
  if (const auto* list = std::get_if<message::AgentList>(&message)) {
    hasReplay_ = hasReplay_ || isListNext_;
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
      session_->forgetHostError();  // it was asked for
    } else if (!end_) {
      end_ = End::lost;
    }
  }
}

void Attachment::note(const AgentDescriptor& row) {
  if (end_ || !hasEnded(row.status)) return;
  end_ = End::ended;
  quietUntil_ = within(isFirstOutput_ ? lateReplay : lastWords);
  endDeadline_ = within(lastWordsLimit);
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

Outcome<void> Attachment::handleSignals() {
  const auto signals = terminal_.takeSignals();
  if (signals.hasToStop) {
    clearNotice();
    terminal_.write(restoring());
    terminal_.stopProcess();
  }
  if (signals.hasToStop || signals.hasContinued) {
    // A shell has used the terminal meanwhile.
    if (hasChangedTitle_) terminal_.write(bytesOf(pushTitle));
    terminal_.write(modes_.setting());
    resizes_.forgetWhatWasSent();
    if (session_) {
      if (auto asked = askForRepaint(); !asked) return asked;
    }
    link_.heard(Clock::now());
  }
  if (const auto size = terminal_.size()) resizes_.note(*size);
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

// One piece at a time is with the socket, so that it is known which one a break has cut.
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
  // An ended agent has nothing more to say.
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
      clearNotice();
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

Outcome<void> Attachment::leaveIfDue() {
  // With the host away nothing could be sent, so there is no second press to wait for.
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

// On a screen of its own, so that the terminal itself keeps the agent's as it is, to the cursor and the half
// line. Over a full-screen program on its last line, as it repaints when the host is back; saving the cursor
// would overwrite the one that the first screen has saved.
void Attachment::showNotice(std::string_view text) {
  const auto leave = detachName_.empty() ? std::string() : fmt::format("; {} leaves", detachName_);
  auto notice = fmt::format("[quorl: {} - trying again{}]", text, leave);
  // On one line, as only one can be taken away again.
  if (const auto size = terminal_.size())
    notice = std::string(firstCharacters(notice, static_cast<std::size_t>(size->columns - 1)));
  if (modes_.isInAlternateScreen()) {
    terminal_.write(bytesOf(fmt::format("\x1b[999;1H\x1b[0m\x1b[2K{}", notice)));
  } else {
    terminal_.write(bytesOf(fmt::format("{}\x1b[0m\x1b[H\x1b[2K{}", hasNotice_ ? "" : ownScreen, notice)));
    hasNotice_ = true;
  }
}

void Attachment::clearNotice() {
  if (std::exchange(hasNotice_, false)) terminal_.write(bytesOf(leaveOwnScreen));
}

void Attachment::endOutput() {
  clearNotice();
  terminal_.write(restoring());
  if (!seen_.endsInLineFeed()) terminal_.write(bytesOf("\r\n"));
}

}  // namespace quorl::client
