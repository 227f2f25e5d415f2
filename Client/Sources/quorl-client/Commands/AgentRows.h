// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Models/AgentModels.h>

#include <quorl-client/Base/ClientError.h>

// The agent list for people: which row they mean, and how it looks. Pure.
namespace quorl::client {

// What a person may call a thing by.
struct Named {
  UUID id;
  std::string name;
};

// The index of the only one that `wanted` means: its identity, its name, the beginning of its identity, or a
// part of its name, whichever of these fits first. `what` says in a message what is looked for: "agent".
Outcome<std::size_t> chooseNamed(const std::vector<Named>& all, std::string_view wanted,
                                 std::string_view what);

// Among several of one name those that `isFit` are preferred; a single one is chosen even if it is not.
Outcome<AgentDescriptor> chooseAgent(const std::vector<AgentDescriptor>& rows, std::string_view wanted,
                                     const std::function<bool(const AgentDescriptor&)>& isFit);

// A terminal is there to be watched and typed into, though its program may have ended.
bool hasTerminal(const AgentDescriptor& row);
bool isAlive(const AgentDescriptor& row);
// A session that the host found in files.
bool isPastSession(const AgentDescriptor& row);

// "session ID — PROJECT" is how a host details a session that can be resumed.
std::optional<std::string> sessionIDOf(const AgentDescriptor& row);

// How many characters of the identities tell all of them apart; at least 8.
std::size_t distinctLength(const std::vector<UUID>& ids);

// "spawned", "resumed", "past", "app", "service", "tab".
std::string_view kindWord(const AgentDescriptor& row);
// "just now", "5 min ago", "3 h ago", "12 days ago".
std::string ageText(double seconds);

// One line for a row, without control characters.
std::string rowLine(const AgentDescriptor& row, std::size_t idLength, double now);

}  // namespace quorl::client
