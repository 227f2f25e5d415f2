// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include <QuorlKit/Models/Models.h>
#include <QuorlKit/Models/NetworkModels.h>

/// What a host reports about itself, for people: lines without control characters. Pure.
namespace quorl::client {

/// Tables of displays, windows and applications.
std::vector<std::string> stateLines(const HostState& state);
std::string metricsLine(const SystemMetrics& metrics);
std::vector<std::string> networkLines(const NetworkStatus& status);

}  // namespace quorl::client
