// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/TerminalFanOut.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include <QuorlKit/Protocol/OutgoingFrame.h>
#include <QuorlKit/Terminal/TerminalModes.h>
#include <QuorlKit/Terminal/TerminalPreamble.h>

namespace quorl {

namespace {

// CAN ends a sequence that the gap has truncated; RIS resets the terminal (ECMA-48, 8.3.6 and 8.3.105).
constexpr std::string_view startAfresh =
    "\x18\x1b"
    "c";
constexpr std::string_view enterAlternateScreen = "\x1b[?1049h";

// A longer history is sent from the start of a line on.
ByteView lastLines(ByteView history, std::size_t most) {
  if (history.size() <= most) return history;
  const ByteView last = history.last(most);
  const auto lineEnd = std::ranges::find(last, std::uint8_t{'\n'});
  return last.subspan(lineEnd == last.end() ? 0 : static_cast<std::size_t>(lineEnd - last.begin()) + 1);
}

}  // namespace

TerminalFanOut::TerminalFanOut(const UUID& agentID, SerialQueue queue, Terminal terminal)
    : agentID_(agentID), queue_(std::move(queue)), terminal_(std::move(terminal)) {}

TerminalFanOut::Watcher* TerminalFanOut::find(Key key) {
  const auto found = std::ranges::find(watchers_, key, &Watcher::key);
  return found != watchers_.end() ? &*found : nullptr;
}

void TerminalFanOut::join(const std::shared_ptr<StreamOutputSink>& sink, std::shared_ptr<SinkBacklog> backlog,
                          First first) {
  queue_.assertCurrent();
  leave(sink.get());
  watchers_.push_back({.key = sink.get(), .sink = sink, .backlog = std::move(backlog)});
  if (first == First::viewNow) present(watchers_.back(), *sink);
}

void TerminalFanOut::show(Key key) {
  queue_.assertCurrent();
  Watcher* const watcher = find(key);
  if (watcher == nullptr || watcher->state != State::waiting) return;
  if (const auto sink = watcher->sink.lock()) present(*watcher, *sink);
}

// The output of a full-screen program is not replayed, because its sequences would garble the client's
// screen. The program repaints instead. The modes that it has set are sent first, because it may not set them
// again.
void TerminalFanOut::present(Watcher& watcher, StreamOutputSink& sink) {
  const bool isCatchingUp = watcher.state == State::behind;
  if (watcher.backlog->isOverLimit()) return leaveBehind(watcher);
  watcher.state = State::live;
  View view = terminal_.view();
  Bytes bytes;
  const auto add = [&bytes](ByteView more) { bytes.insert(bytes.end(), more.begin(), more.end()); };
  using Before = TerminalPreamble::Before;
  watcher.modes.clear();
  if (isCatchingUp) add(viewOf(startAfresh));
  if (view.isAlternateScreen && isCatchingUp) {
    add(view.modes.empty() ? viewOf(enterAlternateScreen) : ByteView(view.modes));
  } else if (view.isAlternateScreen) {
    watcher.modes = TerminalPreamble::with(Before::live, view.modes);
  } else if (isCatchingUp) {
    const ByteView history = view.scrollback;
    const ByteView last = lastLines(history, watcher.backlog->drained());
    // What is left out may have set modes.
    TerminalModes modes;
    modes.follow(view.modes);
    modes.follow(history.first(history.size() - last.size()));
    add(modes.setting());
    add(last);
  } else {
    add(TerminalPreamble::with(Before::history, view.modes));
    add(view.scrollback);
  }
  if (!bytes.empty()) send(watcher, sink, shareBytes(std::move(bytes)));
  if (view.isAlternateScreen) terminal_.repaint();
}

void TerminalFanOut::send(const Watcher& watcher, StreamOutputSink& sink, SharedBytes bytes) {
  sink.sendFrame(
      OutgoingFrame::terminal({.agentID = agentID_, .data = watcher.backlog->counted(std::move(bytes))}),
      Droppable::no);
}

void TerminalFanOut::leave(Key key) {
  queue_.assertCurrent();
  std::erase_if(watchers_, [key](const Watcher& watcher) { return watcher.key == key; });
}

bool TerminalFanOut::isWatched() const {
  queue_.assertCurrent();
  return !watchers_.empty();
}

void TerminalFanOut::deliver(const SharedBytes& output) {
  queue_.assertCurrent();
  std::erase_if(watchers_, [](const Watcher& watcher) { return watcher.sink.expired(); });
  for (Watcher& watcher : watchers_) {
    if (watcher.state != State::live) continue;
    const auto sink = watcher.sink.lock();
    if (!sink) continue;
    if (watcher.backlog->isOverLimit()) {
      leaveBehind(watcher);
    } else if (watcher.modes.empty()) {
      send(watcher, *sink, output);
    } else {
      Bytes joined = std::exchange(watcher.modes, {});
      joined.insert(joined.end(), output->begin(), output->end());
      send(watcher, *sink, shareBytes(std::move(joined)));
    }
  }
}

void TerminalFanOut::leaveBehind(Watcher& watcher) {
  watcher.state = State::behind;
  watcher.backlog->whenDrained([weak = weak_from_this(), queue = queue_, key = watcher.key] {
    queue.async([weak, key] {
      const auto self = weak.lock();
      if (!self) return;
      self->queue_.assertCurrent();
      self->catchUp(key);
    });
  });
}

void TerminalFanOut::catchUp(Key key) {
  Watcher* const watcher = find(key);
  if (watcher == nullptr || watcher->state != State::behind) return;
  if (const auto sink = watcher->sink.lock()) present(*watcher, *sink);
}

}  // namespace quorl
