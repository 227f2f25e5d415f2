// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace quorl {

/// One process, and not a later one with the same number.
struct ProcessIdentity {
  std::int32_t pid = 0;
  std::uint64_t startTime = 0;  // as `ProcessRow` has it; 0 where it is not known, which any start matches

  bool operator==(const ProcessIdentity&) const = default;
};

struct ProcessRow {
  std::int32_t pid = 0;
  std::string tty;             // as `ps` prints it: "pts/3", "ttys004"; "?" or "??" without a terminal
  std::string command;         // the command line, its arguments joined by blanks
  std::string executablePath;  // empty when it cannot be read
  // What the system itself calls the process where that is a fact of its own, as for a program that was
  // started through a link, or a script; else empty. May be cut.
  std::string name;
  std::uint64_t startTime = 0;  // in the system's own unit; together with the pid never given twice
};

enum class ProcessSignal : std::uint8_t { interrupt, terminate };

/// The machine's processes. Calls may block; what cannot be read is left out.
class ProcessTable {
 public:
  virtual ~ProcessTable() = default;

  /// All processes that can be seen, in the order of `ps` (ascending pid). Texts are valid UTF-8. Of a
  /// process without a terminal only the pid need be filled.
  virtual std::vector<ProcessRow> processes() = 0;
  /// Working directories of those of `pids` whose directory can be read.
  virtual std::map<std::int32_t, std::string> workingDirectories(const std::vector<std::int32_t>& pids) = 0;
  virtual std::int32_t ownPID() = 0;
  /// False only when there is no such process (ESRCH): a process that may not be signalled exists.
  virtual bool exists(const ProcessIdentity& process) = 0;
  /// Reaches this process or none, also when its number is given away meanwhile.
  virtual void send(ProcessSignal signal, const ProcessIdentity& process) = 0;
};

}  // namespace quorl
