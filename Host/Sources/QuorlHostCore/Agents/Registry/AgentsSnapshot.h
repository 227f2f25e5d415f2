// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Agents/Terminals/PTYSessionSnapshot.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// The agents of a host, for the program that continues it. What a scan finds again is left out. A value.
struct AgentsSnapshot {
  struct Spawned {
    PTYSessionSnapshot session;
    AgentKind kind = AgentKind::pty;
    std::string detail;

    bool operator==(const Spawned&) const = default;
  };
  /// An adopted tab. Its process belongs to the tab's application.
  struct Adopted {
    ExternalAgent agent;
    std::uint64_t startTime = 0;        // of the process, as in the process table
    std::optional<AgentStatus> status;  // absent in what an older host left

    bool operator==(const Adopted&) const = default;
  };

  std::vector<Spawned> spawned;
  std::vector<Adopted> adopted;
  std::map<std::string, UUID> guiAppIDs;  // identities of rows, by bundle identifier

  bool operator==(const AgentsSnapshot&) const = default;
};

}  // namespace quorl
