// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorl {

enum class LaunchResult : std::uint8_t { started, failed };

/// Starts a program detached from this process: in a session of its own, without our descriptors, with
/// its standard streams at /dev/null and default signals. The first argument is a path or is looked up in
/// PATH; no shell is involved. The working directory is the home folder if the given one is empty or cannot
/// be entered. `descriptorLimit` is its soft limit of open descriptors, by default that of this process.
/// Returns whether the program was executed; an argument with a zero byte cannot be passed.
LaunchResult launchProgram(const std::vector<std::string>& arguments, const std::string& workingDirectory,
                           std::optional<std::uint64_t> descriptorLimit = {});

}  // namespace quorl
