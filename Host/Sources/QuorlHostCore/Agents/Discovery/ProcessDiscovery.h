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
/// *Queue*: any; calls block while the process table is read. Nothing is kept between calls.
/// *Ownership*: shares the process table.
class ProcessDiscovery {
 public:
  explicit ProcessDiscovery(std::shared_ptr<ProcessTable> processes) : processes_(std::move(processes)) {}

  struct Findings {
    std::vector<ExternalAgent> agents;
    std::map<UUID, std::uint64_t> startTimes;  // of their processes
  };
  /// The agents in the order of the process table, with `terminal` `unknown`, `adoptable` false and `cwd`
  /// absent. `excludingTTYs` are device paths ("/dev/pts/3").
  Findings find(const std::set<std::string>& excludingTTYs,
                const std::set<std::int32_t>& excludingPIDs) const;
  std::vector<ExternalAgent> scan(const std::set<std::string>& excludingTTYs,
                                  const std::set<std::int32_t>& excludingPIDs) const {
    return find(excludingTTYs, excludingPIDs).agents;
  }
  /// No pids, no look at the machine.
  std::map<std::int32_t, std::string> cwdByPID(const std::vector<std::int32_t>& pids) const;

  /// The display name of the agent that a process is, if any. `execPath` is the path of its executable; the
  /// command line alone decides where that is not known.
  static std::optional<std::string> classify(std::string_view command,
                                             std::optional<std::string_view> execPath);
  /// Stays the same from scan to scan and changes when the process does.
  static UUID stableID(std::int32_t pid, const std::optional<std::string>& tty);

 private:
  static std::optional<std::string> classify(const ProcessRow& row);

  std::shared_ptr<ProcessTable> processes_;
};

}  // namespace quorl
