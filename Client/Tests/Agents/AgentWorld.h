// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <Integration/HostProcess.h>

#include "TerminalProgram.h"

namespace quorl::client::test {

struct ProgramResult {
  int status = -1;
  std::string output;  // both streams
};

/// A home folder with a real host, and the real client paired with it.
class AgentWorld {
 public:
  /// Further variables of the host's environment.
  explicit AgentWorld(std::vector<std::string> environment = {});

  /// No part of its path looks like one of the host's tools.
  const std::filesystem::path& folder() const { return folder_; }
  std::filesystem::path home() const { return folder_ / "home"; }
  /// Written to `folder()`/bin, which is first on the PATH of login shells.
  void addProgram(const std::string& name, const std::string& script) const;
  void write(const std::string& path, const std::string& text) const;

  /// `launcher`: words before the host's program.
  void startHost(const std::vector<std::string>& launcher = {});
  std::uint16_t hostPort() const { return port_; }
  quorl::test::HostProcess& host() { return *host_; }
  /// Pairs a client configuration of this name with the host on a port.
  void pair(const std::string& person, std::uint16_t port) const;

  ProgramResult run(const std::vector<std::string>& words, const std::string& person = "ada") const;
  std::unique_ptr<TerminalProgram> onTerminal(const std::vector<std::string>& words,
                                              const std::string& person = "ada", int columns = 100,
                                              int rows = 30) const;
  std::vector<std::string> clientEnvironment(const std::string& person) const;
  /// Starts an agent and returns its identity.
  std::string spawn(const std::vector<std::string>& words) const;

  ~AgentWorld();
  AgentWorld(const AgentWorld&) = delete;
  AgentWorld& operator=(const AgentWorld&) = delete;

 private:
  std::filesystem::path folder_;
  std::vector<std::string> environment_;
  const std::uint16_t port_;
  std::unique_ptr<quorl::test::HostProcess> host_;
};

/// The path of the client under test.
std::string clientProgram();

}  // namespace quorl::client::test
