// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <QuorlHostCore/Agents/Attention/AgentAdapter.h>
#include <QuorlHostCore/Agents/Attention/AgentStatusMachine.h>
#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlHostCore/Ports/PseudoTerminal.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

/// Everything that a session is, for the program that continues it. A value.
///
/// The environment of the command is left out: it matters only when a command starts.
struct PTYSessionSnapshot {
  UUID id;
  std::string displayName;
  std::string command;
  std::string workingDirectory;
  AgentAdapter adapter = AgentAdapter::generic;
  std::string ttyName;
  std::int32_t pid = 0;
  std::optional<ReleasedTerminal> terminal;  // absent after the process was reaped
  std::optional<std::int32_t> exitCode;      // present after the process was reaped
  Bytes scrollback;
  Bytes modesAtBegin;  // sequences that recreate the modes at the start of the scrollback
  bool isAlternateScreen = false;
  Date lastOutput;
  AgentStatusMachine::Snapshot status;
  std::optional<Duration> killDelay;  // until SIGKILL, if the session was asked to end

  bool operator==(const PTYSessionSnapshot&) const = default;
};

}  // namespace quorl
