// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Models/AgentModels.h>

#include <quorl-client/Base/ClientError.h>

/// The agent list for people: finding the row they name, and printing it. Pure.
namespace quorl::client {

/// A thing that a person can name.
struct Named {
  UUID id;
  std::string name;
};

/// The index of the only one that `wanted` names: by identity, by name, by the beginning of the identity, or
/// by a part of the name; the first of these that matches decides. `what` is its word in messages: "agent".
Outcome<std::size_t> chooseNamed(const std::vector<Named>& all, std::string_view wanted,
                                 std::string_view what);

/// As `chooseNamed`, but among several matches those that `isFit` are preferred.
Outcome<AgentDescriptor> chooseAgent(const std::vector<AgentDescriptor>& rows, std::string_view wanted,
                                     const std::function<bool(const AgentDescriptor&)>& isFit);

/// Whether there is a terminal to watch. Its program may have ended.
bool hasTerminal(const AgentDescriptor& row);
bool isAlive(const AgentDescriptor& row);
/// A session that the host found in files.
bool isPastSession(const AgentDescriptor& row);

/// The ID in "session ID — PROJECT", the detail of a session that can be resumed.
std::optional<std::string> sessionIDOf(const AgentDescriptor& row);

/// The number of characters, at least 8, after which all identities differ.
std::size_t distinctLength(const std::vector<UUID>& ids);

/// "spawned", "resumed", "past", "app", "service", "tab".
std::string_view kindWord(const AgentDescriptor& row);
/// "just now", "5 min ago", "3 h ago", "12 days ago".
std::string ageText(double seconds);

/// One line for a row, without control characters.
std::string rowLine(const AgentDescriptor& row, std::size_t idLength, double now);

}  // namespace quorl::client
