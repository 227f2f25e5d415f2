// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/ToolRunner.h>

namespace quorl {

/// What `ToolRunner::run` does.
ToolResult runBoundedTool(const std::vector<std::string>& arguments, std::chrono::milliseconds limit);

}  // namespace quorl
