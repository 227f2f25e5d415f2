// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <vector>

#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// The host's small persistent settings, one JSON object in `settings.json`. Every field may be missing
/// there, so that files of older hosts load.
struct HostSettings {
  bool magnifyAsCommandScroll = false;
  std::vector<AgentSpawnConfig> recentAgentConfigs;  // newest first, at most 10
  std::optional<UUID> hostDeviceID;                  // created at first use

  bool operator==(const HostSettings&) const = default;
};
BOOST_DESCRIBE_STRUCT(HostSettings, (), (magnifyAsCommandScroll, recentAgentConfigs, hostDeviceID))

template <>
inline constexpr std::array defaultedFields<HostSettings> = {std::string_view("magnifyAsCommandScroll"),
                                                             std::string_view("recentAgentConfigs")};

}  // namespace quorl
