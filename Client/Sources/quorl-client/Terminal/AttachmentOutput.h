// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

#include <QuorlKit/Models/AgentModels.h>
#include <QuorlKit/Terminal/TerminalModes.h>

#include <quorl-client/Terminal/SeenOutput.h>
#include <quorl-client/Terminal/TabText.h>
#include <quorl-client/Terminal/TerminalWriter.h>

namespace quorl::client {

/// What an attachment writes to the person's terminal: the agent's output, joined without repeats across
/// connections, and notices that leave no trace in it. It follows the modes that the agent sets, so that
/// every one of them can be undone.
///
/// A host's first output after a subscription may be a replay of what it keeps. A later replay continues
/// where the last output stopped, or the terminal is cleared first.
///
/// *Queue*: one thread. *Blocking*: on the terminal. *Ownership*: borrows the terminal. *Lifetime*: one
/// attachment; `end` is called before destruction.
class AttachmentOutput {
 public:
  AttachmentOutput(AgentKind kind, TerminalWriter& terminal) : kind_(kind), terminal_(terminal) {}

  /// The next output is the first of a new subscription.
  void beginSubscription();
  /// The host has sent everything it keeps: output from now on is live.
  void endReplay() { hasReplay_ = true; }
  bool hasOutputOfSubscription() const { return !isFirstOutput_; }

  Outcome<void> show(ByteView output);

  /// Shows one line, cut to the terminal's width, over the agent's screen until `clearNotice`.
  void showNotice(std::string_view notice);
  void clearNotice();

  /// Undoes the agent's modes before the process stops.
  void suspend();
  /// Sets them again after it has been continued.
  void resume();
  /// Undoes everything and leaves the cursor at the start of a line.
  void end();

  bool isInAlternateScreen() const { return modes_.isInAlternateScreen(); }

 private:
  bool isReplay() const;
  Outcome<void> showReplay(ByteView modes, ByteView history);
  Outcome<void> showAfresh(ByteView output);
  Outcome<void> showTabText(ByteView output);
  Outcome<void> beginAfresh(ByteView beginning);
  Outcome<void> emit(ByteView output);
  Bytes restoring() const;

  const AgentKind kind_;
  TerminalWriter& terminal_;

  SeenOutput seen_;
  TabText tab_;
  TerminalModes modes_;  // as the agent has set them
  Bytes held_;           // an unfinished sequence or character at the end of the output, not yet written

  bool isFirstOutput_ = true;  // since the last subscription
  bool hasReplay_ = false;     // of the last subscription
  bool hasNotice_ = false;     // on a screen of its own
  bool hasChangedTitle_ = false;
};

}  // namespace quorl::client
