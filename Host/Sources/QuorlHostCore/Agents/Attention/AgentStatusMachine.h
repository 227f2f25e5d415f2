// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include <QuorlHostCore/Agents/Attention/AgentAdapter.h>
#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// Decides from output, silence, bells and the text on the screen whether a program works, is idle, or waits
/// for a human. Output means working at once. Everything else is decided during silence, at ticks one second
/// apart, counted from construction.
///
/// Only ticks that can change something need to be given. `nextTick` is the next of them, so that a quiet
/// session costs nothing.
///
/// *Queue*: the owner's; a value.
class AgentStatusMachine {
 public:
  struct Actions {
    std::optional<AgentStatus> statusChange;
    std::optional<std::string> attentionBody;  // notify the user with this line
  };

  /// The state at one instant. Times are ages, because another program's clock may count from elsewhere.
  struct Snapshot {
    AgentStatus status = AgentStatus::running;
    Duration sinceCreation{};
    Duration sinceOutput{};
    Duration sinceTick{};
    std::optional<Duration> sinceAttention;
    bool sawBell = false;
    bool bellWasConsumed = false;

    bool operator==(const Snapshot&) const = default;
  };

  AgentStatusMachine(AgentAdapter adapter, MonotonicTime created);
  /// Continues at `now` where another one was.
  AgentStatusMachine(AgentAdapter adapter, const Snapshot& snapshot, MonotonicTime now);

  Actions receiveOutput(ByteView output, MonotonicTime now);
  /// `screenTail`: at least the last 512 bytes of the scrollback, or all of it.
  Actions tick(ByteView screenTail, MonotonicTime now);
  /// The program has ended. Final.
  Actions exit();

  AgentStatus status() const { return status_; }
  Snapshot snapshot(MonotonicTime now) const;
  /// The next instant at which a tick can change something. Nothing if only an event can.
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
  bool bellWasConsumed_ = false;  // by the last tick, so that the next one can end the waiting
  AgentStatus status_ = AgentStatus::running;
};

}  // namespace quorl
