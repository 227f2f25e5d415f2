// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// What the BSD tools print about processes, for platforms that have no better source. All functions take the
/// whole output; output that is not UTF-8 gives nothing, and so does a line of another shape.
namespace ProcessParsers {

struct PSRow {
  std::int32_t pid = 0;
  std::string tty;
  std::string command;

  bool operator==(const PSRow&) const = default;
};

/// `ps -axo pid=,tty=,command=`, in the order printed.
std::vector<PSRow> parseProcesses(ByteView output);
/// `ps -axo pid=,comm=`: the path of each process's executable.
std::map<std::int32_t, std::string> parseExecutables(ByteView output);
/// `lsof -a -d cwd -Fn -p ...`: the working directory of each process. One line a field, its first character
/// saying which: "p" begins a process, "n" holds a name.
std::map<std::int32_t, std::string> parseWorkingDirectories(ByteView output);

}  // namespace ProcessParsers

}  // namespace quorl
