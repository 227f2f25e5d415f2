// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <set>
#include <utility>
#include <vector>

#include <QuorlHostCore/Ports/ProcessTable.h>

namespace quorl::test {

/// Processes set by a test. Signals are recorded and end no process.
class FakeProcessTable final : public ProcessTable {
 public:
  std::vector<ProcessRow> rows;
  std::map<std::int32_t, std::string> directories;
  std::set<std::int32_t> gone;
  std::map<std::int32_t, std::uint64_t> startTimes;  // of processes that require a matching identity
  std::int32_t own = 1;

  std::vector<std::pair<ProcessSignal, std::int32_t>> sent;
  int scans = 0;
  int directoryScans = 0;

  std::vector<ProcessRow> processes() override {
    ++scans;
    return rows;
  }
  std::map<std::int32_t, std::string> workingDirectories(const std::vector<std::int32_t>& pids) override {
    ++directoryScans;
    std::map<std::int32_t, std::string> result;
    for (const std::int32_t pid : pids)
      if (const auto found = directories.find(pid); found != directories.end()) result.insert(*found);
    return result;
  }
  std::int32_t ownPID() override { return own; }
  bool exists(const ProcessIdentity& process) override {
    const auto restarted = startTimes.find(process.pid);
    const bool isAnother = restarted != startTimes.end() && restarted->second != process.startTime;
    return !gone.contains(process.pid) && !isAnother;
  }
  void send(ProcessSignal signal, const ProcessIdentity& process) override {
    if (exists(process)) sent.emplace_back(signal, process.pid);
  }
};

}  // namespace quorl::test
