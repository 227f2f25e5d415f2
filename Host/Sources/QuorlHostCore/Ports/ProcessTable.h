// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace quorl {

/// One process, as opposed to a later one with the same pid.
struct ProcessIdentity {
  std::int32_t pid = 0;
  std::uint64_t startTime = 0;  // as in `ProcessRow`; 0 if unknown, which matches any

  bool operator==(const ProcessIdentity&) const = default;
};

struct ProcessRow {
  std::int32_t pid = 0;
  // As `ps` prints it: "pts/3", "ttys004"; "?" or "??" without a terminal. A terminal of a container has a
  // name that none of this system has.
  std::string tty;
  std::string command;         // the command line, its arguments joined by blanks
  std::string executablePath;  // empty when it cannot be read
  // The system's name for the process where it differs from the executable's, as for a script or a program
  // started through a link; else empty. May be truncated.
  std::string name;
  std::uint64_t startTime = 0;  // in the system's unit; unique together with the pid
};

enum class ProcessSignal : std::uint8_t { interrupt, terminate };

/// The machine's processes. Those that cannot be read are left out.
///
/// *Queue*: any thread, several at a time. There are no callbacks.
/// *Blocking*: `processes` and `workingDirectories` may take long, so that callers use `Scheduler::blocking`;
/// `ownPID`, `exists` and `send` are single system calls.
/// *Ownership*: returns copies.
/// *Lifetime*: no work is pending between calls.
class ProcessTable {
 public:
  virtual ~ProcessTable() = default;

  /// All visible processes by ascending pid, as `ps` lists them. Texts are valid UTF-8. For a process without
  /// a terminal only the pid is required.
  virtual std::vector<ProcessRow> processes() = 0;
  /// Working directories by pid; a process whose directory cannot be read is left out.
  virtual std::map<std::int32_t, std::string> workingDirectories(const std::vector<std::int32_t>& pids) = 0;
  virtual std::int32_t ownPID() = 0;
  /// False only if there is no such process (ESRCH). A process that may not be signalled exists.
  virtual bool exists(const ProcessIdentity& process) = 0;
  /// Never signals another process that has got the same pid meanwhile.
  virtual void send(ProcessSignal signal, const ProcessIdentity& process) = 0;
};

}  // namespace quorl
