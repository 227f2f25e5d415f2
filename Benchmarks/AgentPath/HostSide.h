// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "../Support/Program.h"

namespace quorl::bench {

/// A real host with its own home folder, and the real client, paired with it.
class HostSide {
 public:
  HostSide(std::string hostProgram, std::string clientProgram);
  HostSide(const HostSide&) = delete;
  HostSide& operator=(const HostSide&) = delete;
  ~HostSide();

  std::uint16_t port() const { return port_; }
  const std::string& pin() const { return pin_; }
  const std::string& folder() const { return folder_; }
  const std::string& clientProgram() const { return clientProgram_; }
  std::vector<std::string> clientEnvironment() const;
  /// Starts a command on the host and returns the identity of the agent.
  std::string spawn(const std::string& command) const;

  /// Memory of the host's process, in megabytes.
  double residentMegabytes() const { return memory("VmRSS:"); }
  double peakMegabytes() const { return memory("VmHWM:"); }
  void resetPeak() const;
  double processorSeconds() const { return host_->cpuSeconds(); }

 private:
  std::string output(const std::vector<std::string>& words) const;
  double memory(const std::string& field) const;

  const std::string clientProgram_;
  const std::string pin_ = "123456";
  const std::uint16_t port_ = freePort();
  std::string folder_;
  std::unique_ptr<Program> host_;
};

}  // namespace quorl::bench
