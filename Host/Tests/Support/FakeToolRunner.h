// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/ToolRunner.h>

namespace quorl::test {

/// Tools whose output a test sets, by their command line. Records what is run.
///
/// *Queue*: the simulation's one thread.
class FakeToolRunner : public ToolRunner {
 public:
  ToolResult run(const std::vector<std::string>& arguments, std::chrono::milliseconds limit) override {
    std::string command;
    for (const std::string& argument : arguments) command += (command.empty() ? "" : " ") + argument;
    runs.push_back(command);
    limits.insert(limit);
    if (onRun) onRun();
    const auto found = results.find(command);
    return found == results.end() ? ToolResult{} : found->second;
  }
  bool isExecutable(const std::string& path) override { return executables.contains(path); }
  bool exists(const std::string& path) override { return files.contains(path); }
  std::optional<std::string> findInPath(const std::string& name) override {
    const auto found = inPath.find(name);
    return found == inPath.end() ? std::nullopt : std::optional(found->second);
  }

  void print(const std::string& command, std::string output, ToolEnd end = ToolEnd::exited) {
    results[command] = {.end = end, .exitStatus = 0, .output = std::move(output), .error = {}};
  }

  std::map<std::string, ToolResult> results;
  std::set<std::string> executables;
  std::set<std::string> files;
  std::map<std::string, std::string> inPath;
  std::vector<std::string> runs;
  std::set<std::chrono::milliseconds> limits;
  std::function<void()> onRun;
};

}  // namespace quorl::test
