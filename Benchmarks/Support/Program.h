// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace quorl::bench {

/// A program that runs beside the harness; ended with it. Its output goes to `logPath`.
class Program {
 public:
  Program(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
          const std::string& logPath);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  pid_t pid() const { return pid_; }
  /// User and system time of the process so far, in seconds; 0 once it is gone.
  double cpuSeconds() const;

 private:
  pid_t pid_ = -1;
};

/// A private X server without a window manager.
class VirtualScreen {
 public:
  VirtualScreen(int width, int height);
  VirtualScreen(const VirtualScreen&) = delete;
  VirtualScreen& operator=(const VirtualScreen&) = delete;
  ~VirtualScreen();

  const std::string& display() const { return display_; }
  double cpuSeconds() const;

 private:
  pid_t pid_ = -1;
  std::string display_;
};

/// Keeps every processor from sleeping while it lives, at the lowest priority there is: a virtual machine may
/// take four times as long to wake a thread on one that sleeps, and differs in it from hour to hour.
class AwakeProcessors {
 public:
  AwakeProcessors();

 private:
  std::vector<std::jthread> threads_;
};

/// A port that nobody listens on just now.
std::uint16_t freePort();

}  // namespace quorl::bench
