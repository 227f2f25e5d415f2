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

// One person's machine: a book of hosts, and command lines that are run on it.
class CommandRun {
 public:
  CommandResult operator()(const std::vector<std::string>& words);

  void addHost(const PairedHost& host);
  const quorl::test::TemporaryFolder& folder() const { return folder_; }

  // -1: no terminal.
  int inputDescriptor = -1;
  int interruptDescriptor = -1;
  // Whether standard output takes what is written.
  bool outputIsIntact = true;

 private:
  quorl::test::TemporaryFolder folder_;

 public:
  HostBook book{folder_.path() / "config" / "quorl"};
};

}  // namespace quorl::client::test
