// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quorl {

enum class ToolEnd : std::uint8_t { exited, timedOut, notStarted };

inline constexpr std::size_t maxToolOutput = 16 * 1024 * 1024;  // bytes that are kept of each stream

struct ToolResult {
  ToolEnd end = ToolEnd::notStarted;
  int exitStatus = -1;  // of a tool that exited; -1 after a signal
  std::string output;   // also of a tool that timed out, up to then
  std::string error;    // likewise; the reason, for a tool that was not started
};

/// Runs command-line tools without a shell.
///
/// *Queue*: any thread, several at a time. There are no callbacks.
/// *Blocking*: `run` waits for the tool; callers use `Scheduler::blocking`. The others read files.
/// *Ownership*: returns copies.
/// *Lifetime*: no work is pending between calls.
class ToolRunner {
 public:
  virtual ~ToolRunner() = default;

  /// Runs a program and waits for its end, for `limit` at most: then it is asked to end with its children,
  /// and killed half a second later. The first argument is its absolute path. Its input is empty, and it gets
  /// none of this process's descriptors.
  virtual ToolResult run(const std::vector<std::string>& arguments, std::chrono::milliseconds limit) = 0;

  /// Whether the path is a file that this user may execute.
  virtual bool isExecutable(const std::string& path) = 0;
  virtual bool exists(const std::string& path) = 0;
  /// The first executable file with this name in the folders of PATH.
  virtual std::optional<std::string> findInPath(const std::string& name) = 0;
};

}  // namespace quorl
