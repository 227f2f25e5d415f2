// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

namespace quorl {

/// Tells terminals of this system from those of containers. Each mount of the file system of terminals counts
/// from pts/0 (devpts, filesystems/devpts.rst), so the number that the kernel reports for a process does not
/// name a terminal here if the process has another mount.
///
/// *Queue*: any thread, also several at once; it does not change. *Blocking*: reads of the process file
/// system.
class TerminalMount {
 public:
  /// `root`: where the process file system is mounted.
  explicit TerminalMount(std::string root);

  /// Whether the terminal with this device number, on which a process runs, is in another mount.
  bool isElsewhere(std::int32_t pid, std::uint32_t terminal) const;
  /// The device of the process's terminal, "/dev/pts/3". Empty if it has none here.
  std::string terminalOf(std::int32_t pid) const;

 private:
  std::string pathOf(std::int32_t pid, const char* file) const;
  bool isOpenHere(std::int32_t pid, std::uint32_t terminal) const;
  bool isInOtherPIDNamespace(std::int32_t pid) const;

  std::string root_;
  std::string ownMounts_;           // this process's namespace; empty if it cannot be read
  std::uint64_t ownTerminals_ = 0;  // the device of /dev/pts
};

}  // namespace quorl
