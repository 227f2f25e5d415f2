// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include <Support/TemporaryFolder.h>
#include <quorl-client/Commands/CommandContext.h>

namespace quorl::client::test {

struct CommandResult {
  ExitCode code = ExitCode::ok;
  std::string out;
  std::string notes;
};

/// A book of hosts and the command lines that run with it.
class CommandRun {
 public:
  CommandResult operator()(const std::vector<std::string>& words);

  void addHost(const PairedHost& host);
  const quorl::test::TemporaryFolder& folder() const { return folder_; }

  /// -1: no terminal.
  int inputDescriptor = -1;
  int interruptDescriptor = -1;
  /// Whether writes to standard output succeed.
  bool outputIsIntact = true;
  bool outputIsTerminal = false;

 private:
  quorl::test::TemporaryFolder folder_;

 public:
  HostBook book{folder_.path() / "config" / "quorl"};
};

}  // namespace quorl::client::test
