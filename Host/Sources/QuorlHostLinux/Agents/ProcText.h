// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorl {

/// The texts of a process's folder under /proc (Linux manual, proc(5)). Pure. The texts may be hostile.
namespace ProcText {

struct Stat {
  std::string name;  // at most 15 bytes; may hold blanks and parentheses
  char state = '?';
  std::int32_t parent = 0;
  std::uint32_t terminal = 0;   // device number, 0 for none
  std::uint64_t startTime = 0;  // in clock ticks since the machine's start
};

/// "/proc/PID/stat": the name, in parentheses, is field 2, the state is field 3, the parent field 4, the
/// terminal field 7, the start field 22.
std::optional<Stat> parseStat(std::string_view text);

/// The name that `ps` prints for a terminal, if it follows from the number: "pts/3", "tty1", "ttyS0".
std::optional<std::string> terminalName(std::uint32_t device);
std::uint32_t majorNumber(std::uint32_t device);
std::uint32_t minorNumber(std::uint32_t device);

/// "/proc/PID/cmdline" as one line: arguments, each ended by a NUL, joined by blanks; control characters as
/// "?", as `ps` prints them; valid UTF-8. Empty where the process has no arguments.
std::string commandLine(std::string_view text);

/// The target of a link into the file system, without the suffix for a file that was removed.
std::string linkTarget(std::string_view target);

}  // namespace ProcText

}  // namespace quorl
