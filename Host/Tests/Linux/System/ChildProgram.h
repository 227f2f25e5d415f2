// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include <QuorlUnix/Descriptor.h>

namespace quorl::test {

/// A program that a test runs and that never outlives it: killed by destruction, and by the kernel when the
/// test dies. Its standard output and error are collected.
class ChildProgram {
 public:
  /// `environment` is added to the test's own; a name without "=" is removed. Programs are looked up in PATH.
  explicit ChildProgram(const std::vector<std::string>& arguments,
                        const std::vector<std::string>& environment = {});
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;
  ~ChildProgram();

  pid_t pid() const { return pid_; }
  void signal(int number);
  /// The exit status, 128 plus the signal's number after a signal, absent when it still runs at the deadline.
  std::optional<int> waitForExit(std::chrono::milliseconds limit = std::chrono::seconds(20));
  bool isRunning() { return !waitForExit(std::chrono::milliseconds(0)); }

  /// Everything printed so far.
  const std::string& output();
  bool waitForOutput(const std::string& text, std::chrono::milliseconds limit = std::chrono::seconds(20));

 private:
  void readOutput();

  pid_t pid_ = -1;
  Descriptor pipe_;
  std::string output_;
  std::optional<int> status_;
};

/// Runs a program to its end and returns its output.
std::string outputOf(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment = {});

/// Whether PATH has the program.
bool hasProgram(const std::string& name);

}  // namespace quorl::test
