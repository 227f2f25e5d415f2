// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace quorl::bench {

/// A program that runs during the benchmark and is ended by destruction. Its output goes to `logPath`.
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

/// Keeps every processor awake during its lifetime, with threads of idle priority. A virtual machine may take
/// four times as long to wake a thread on a sleeping processor, and that varies from hour to hour.
class AwakeProcessors {
 public:
  AwakeProcessors();

 private:
  std::vector<std::jthread> threads_;
};

/// A port that is free now.
std::uint16_t freePort();

}  // namespace quorl::bench
