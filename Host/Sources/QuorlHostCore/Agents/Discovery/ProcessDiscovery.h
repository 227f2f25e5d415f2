// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Ports/ProcessTable.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// Finds the command-line agents that run in terminals of this machine.
///
/// *Queue*: any thread; it has no state.
/// *Blocking*: calls read the process table; use them as blocking work.
/// *Ownership*: shares the process table.
class ProcessDiscovery {
 public:
  explicit ProcessDiscovery(std::shared_ptr<ProcessTable> processes) : processes_(std::move(processes)) {}

  struct Findings {
    std::vector<ExternalAgent> agents;
    std::map<UUID, std::uint64_t> startTimes;  // of their processes
  };
  /// The agents in the order of the process table, with `terminal` `unknown`, `adoptable` false and no `cwd`.
  /// `excludingTTYs`: device paths ("/dev/pts/3").
  Findings find(const std::set<std::string>& excludingTTYs,
                const std::set<std::int32_t>& excludingPIDs) const;
  std::vector<ExternalAgent> scan(const std::set<std::string>& excludingTTYs,
                                  const std::set<std::int32_t>& excludingPIDs) const {
    return find(excludingTTYs, excludingPIDs).agents;
  }
  /// Does not read the process table for an empty list.
  std::map<std::int32_t, std::string> cwdByPID(const std::vector<std::int32_t>& pids) const;

  /// The display name of the agent that a process is, if any. `execPath` is the path of its executable; if
  /// unknown, the command line alone decides.
  static std::optional<std::string> classify(std::string_view command,
                                             std::optional<std::string_view> execPath);
  /// The same for the same process in every scan, and different for another process.
  static UUID stableID(std::int32_t pid, const std::optional<std::string>& tty);

 private:
  static std::optional<std::string> classify(const ProcessRow& row);

  std::shared_ptr<ProcessTable> processes_;
};

}  // namespace quorl
