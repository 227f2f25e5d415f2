// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/AttachmentOutput.h>

#include <algorithm>
#include <utility>

#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Foundation/UTF8.h>
#include <QuorlKit/Terminal/EscapeSequences.h>
#include <QuorlKit/Terminal/TerminalPreamble.h>
#include <fmt/format.h>

namespace quorl::client {
namespace {

// CAN and RIS: a host sends them before a fresh start for a terminal that did not keep up.
constexpr std::string_view afresh =
    "\x18\x1b"
    "c";
// CAN, cursor home, erase all (ECMA-48, CUP and ED).
constexpr std::string_view clearScreen = "\x18\x1b[0m\x1b[H\x1b[2J";
// The title stack of xterm.
constexpr std::string_view pushTitle = "\x1b[22;0t";
constexpr std::string_view popTitle = "\x1b[23;0t";
// The alternate screen, which saves the cursor and the normal screen (xterm, mode 1049).
constexpr std::string_view ownScreen = "\x1b[?1049h";
constexpr std::string_view leaveOwnScreen = "\x1b[?1049l";

}  // namespace

void AttachmentOutput::beginSubscription() {
  isFirstOutput_ = true;
  hasReplay_ = false;
}

Outcome<void> AttachmentOutput::show(ByteView output) {
  const bool isFirst = std::exchange(isFirstOutput_, false);
  if (const auto preamble = TerminalPreamble::of(output); preamble && isFirst) {
    if (preamble->before == TerminalPreamble::Before::history)
      return showReplay(preamble->modes, preamble->rest);
    seen_.append(preamble->rest);
    // After a break the earlier modes may be outdated.
    if (auto begun = beginAfresh(preamble->modes); !begun) return begun;
    return emit(preamble->rest);
  }
  if (isFirst && isReplay()) return showReplay({}, output);
  if (textViewOf(output).starts_with(afresh)) return showAfresh(output.subspan(afresh.size()));
  if (kind_ == AgentKind::externalTerminal) return showTabText(output);
  seen_.append(output);
  return emit(output);
}

// A host first sends what it keeps. It keeps nothing of a program that has printed nothing, so the first
// output of that is live. Output of a full-screen program has a preamble, and a tab always starts with its
// whole text.
bool AttachmentOutput::isReplay() const {
  return !hasReplay_ || seen_.hasAny() || kind_ == AgentKind::externalTerminal;
}

Outcome<void> AttachmentOutput::showReplay(ByteView modes, ByteView history) {
  const bool isTab = kind_ == AgentKind::externalTerminal;
  if (isTab) tab_.begin(history);
  const bool hasShown = seen_.hasAny();
  const auto join = hasShown && !isTab ? seen_.join(history) : SeenOutput::Join{};
  if (join.kind == SeenOutput::Join::Kind::follows) {
    const ByteView newOutput = history.subspan(join.newFrom);
    seen_.append(newOutput);
    return emit(fitForReplay(newOutput));
  }
  seen_.append(history);
  if (hasShown) {
    if (auto begun = beginAfresh(bytesOf(clearScreen)); !begun) return begun;
  }
  if (auto emitted = emit(modes); !emitted) return emitted;
  return emit(fitForReplay(history));
}

// Output for a terminal that did not keep up. The host's reset would also erase the terminal's own history.
Outcome<void> AttachmentOutput::showAfresh(ByteView output) {
  seen_.append(output);
  if (auto begun = beginAfresh(bytesOf(clearScreen)); !begun) return begun;
  return emit(fitForReplay(output));
}

// A tab's text arrives in whole lines, or as a whole after a repaint.
Outcome<void> AttachmentOutput::showTabText(ByteView output) {
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

// Undoes the current modes, then writes `beginning`.
Outcome<void> AttachmentOutput::beginAfresh(ByteView beginning) {
  if (auto written = terminal_.write(modes_.restoring()); !written) return written;
  modes_ = TerminalModes();
  held_.clear();
  return emit(beginning);
}

// Holds back the beginning of an unfinished sequence or character, so that a notice or the end never falls
// inside one.
Outcome<void> AttachmentOutput::emit(ByteView output) {
  if (output.empty()) return {};
  modes_.follow(output);
  Bytes joined;
  if (!held_.empty()) {
    joined = std::exchange(held_, {});
    joined.insert(joined.end(), output.begin(), output.end());
    output = joined;
  }
  const auto unfinished = std::max(modes_.unfinishedSize(), unfinishedUTF8Length(textViewOf(output)));
  const auto whole = output.size() - std::min(unfinished, output.size());
  held_.assign(output.begin() + static_cast<std::ptrdiff_t>(whole), output.end());
  if (modes_.hasTitle() && !std::exchange(hasChangedTitle_, true)) {
    if (auto kept = terminal_.write(bytesOf(pushTitle)); !kept) return kept;
  }
  terminal_.setRestoring(restoring());
  return terminal_.write(output.first(whole));
}

Bytes AttachmentOutput::restoring() const {
  Bytes bytes = modes_.restoring();
  const ByteView title = hasChangedTitle_ ? viewOf(popTitle) : ByteView();
  bytes.insert(bytes.end(), title.begin(), title.end());
  return bytes;
}

void AttachmentOutput::suspend() {
  clearNotice();
  terminal_.write(restoring());
}

void AttachmentOutput::resume() {
  // A shell may have used the terminal meanwhile.
  if (hasChangedTitle_) terminal_.write(bytesOf(pushTitle));
  terminal_.write(modes_.setting());
}

// On the alternate screen, so that the terminal keeps the agent's screen, cursor included. A full-screen
// program already uses that screen and repaints after the reconnection, so the notice overwrites its last
// line; saving the cursor there would overwrite the saved cursor of the normal screen.
void AttachmentOutput::showNotice(std::string_view notice) {
  // One line: only one can be cleared again.
  if (const auto size = terminal_.size())
    notice = firstCharacters(notice, static_cast<std::size_t>(size->columns - 1));
  if (modes_.isInAlternateScreen()) {
    terminal_.write(bytesOf(fmt::format("\x1b[999;1H\x1b[0m\x1b[2K{}", notice)));
  } else {
    terminal_.write(bytesOf(fmt::format("{}\x1b[0m\x1b[H\x1b[2K{}", hasNotice_ ? "" : ownScreen, notice)));
    hasNotice_ = true;
  }
}

void AttachmentOutput::clearNotice() {
  if (std::exchange(hasNotice_, false)) terminal_.write(bytesOf(leaveOwnScreen));
}

void AttachmentOutput::end() {
  clearNotice();
  terminal_.write(restoring());
  if (!seen_.endsInLineFeed()) terminal_.write(bytesOf("\r\n"));
}

}  // namespace quorl::client
