// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorl {

enum class LaunchResult : std::uint8_t { started, failed };

/// Starts a program that is nobody's child: in a session of its own, with no descriptor of ours, its standard
/// streams at /dev/null and the signals at their defaults. The first argument is a path or is looked up in
/// PATH; no shell is involved. The working directory is the home folder when the given one is empty or cannot
/// be entered. `descriptorLimit` is the soft limit of open descriptors that it starts with; by default this
/// process's. Tells whether the program could be executed.
LaunchResult launchProgram(const std::vector<std::string>& arguments, const std::string& workingDirectory,
                           std::optional<std::uint64_t> descriptorLimit = {});

}  // namespace quorl
