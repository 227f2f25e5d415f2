// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace quorl {

enum class ToolEnd : std::uint8_t { exited, timedOut, notStarted };

struct ToolResult {
  ToolEnd end = ToolEnd::notStarted;
  int exitStatus = -1;  // of a tool that exited; -1 after a signal
  std::string output;   // the first 4 MiB
  std::string error;    // likewise; the reason, for a tool that was not started
};

/// Runs a program without a shell and waits for it, for `limit` at most: then it is killed. The first
/// argument is its absolute path. Its input is /dev/null, and it gets none of this process's descriptors.
ToolResult runBoundedTool(const std::vector<std::string>& arguments, std::chrono::milliseconds limit);

}  // namespace quorl
