// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Ports/ProcessTable.h>
#include <QuorlHostLinux/Agents/TerminalMount.h>

namespace quorl {

/// The process table from /proc, without a child process. Processes without a terminal are not read further.
/// A process that ends while it is read is omitted.
///
/// *Queue*: any, also several at once.
class ProcProcessTable final : public ProcessTable {
 public:
  /// `root`: where the process file system is mounted.
  explicit ProcProcessTable(std::string root = "/proc");

  std::vector<ProcessRow> processes() override;
  std::map<std::int32_t, std::string> workingDirectories(const std::vector<std::int32_t>& pids) override;
  std::int32_t ownPID() override;
  bool exists(const ProcessIdentity& process) override;
  void send(ProcessSignal signal, const ProcessIdentity& process) override;

  /// The processes on a terminal whose parent's name contains `word`, as of the last call of `processes`.
  /// Reads nothing itself.
  std::vector<std::int32_t> childrenOf(std::string_view word);

 private:
  struct Glimpse {
    std::int32_t pid;
    std::int32_t parent;
    std::string name;
    bool isOnTerminal;
  };

  std::string terminalName(std::uint32_t device);
  bool isSameProcess(const ProcessIdentity& process) const;

  const std::string root_;
  const TerminalMount mount_;
  std::mutex lock_;
  std::map<std::uint32_t, std::string> deviceNames_;  // of terminals that no rule names
  std::vector<Glimpse> latest_;
};

}  // namespace quorl
