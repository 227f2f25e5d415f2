// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

namespace quorl {

/// A tool of the system that carries out a system command, by absolute path.
struct ToolCall {
  std::string path;
  std::vector<std::string> arguments;

  bool operator==(const ToolCall&) const = default;
};

/// The tools of macOS for what has no public interface.
namespace SystemTools {

ToolCall setVolume(int percent);
ToolCall sleepDisplays();
/// Types the shortcut of the lock screen.
ToolCall lockScreen();

}  // namespace SystemTools

}  // namespace quorl
