// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include <QuorlHostCore/Agents/Attention/AgentAdapter.h>
#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// Decides from output, silence, bells and the words on the screen whether a program works, is idle, or waits
/// for a human. Output makes it working at once; everything else is decided in silence, at ticks a second
/// apart from its creation on.
///
/// Only ticks that can change something need to be given: `nextTick` names the next one, so that a quiet
/// session costs nothing. Leaving out the others makes no difference.
///
/// *Queue*: its owner's. *Ownership*: a value.
class AgentStatusMachine {
 public:
  struct Actions {
    std::optional<AgentStatus> statusChange;
    std::optional<std::string> attentionBody;  // tell the human, with this line
  };

  AgentStatusMachine(AgentAdapter adapter, MonotonicTime created);

  Actions receiveOutput(ByteView output, MonotonicTime now);
  /// `screenTail`: the end of the scrollback, 512 bytes or more where there are so many.
  Actions tick(ByteView screenTail, MonotonicTime now);
  /// Final.
  Actions exit();

  AgentStatus status() const { return status_; }
  /// The next instant at which a tick can change anything; nothing until then is none.
  std::optional<MonotonicTime> nextTick() const;

 private:
  Actions changeTo(AgentStatus status);
  MonotonicTime firstTickFrom(MonotonicTime earliest) const;

  AgentAdapter adapter_;
  MonotonicTime created_;
  MonotonicTime lastOutput_;
  MonotonicTime lastTick_;
  std::optional<MonotonicTime> lastAttention_;
  bool sawBell_ = false;
  bool bellWasConsumed_ = false;  // by the last tick: the next one may find nothing that waits
  AgentStatus status_ = AgentStatus::running;
};

}  // namespace quorl
