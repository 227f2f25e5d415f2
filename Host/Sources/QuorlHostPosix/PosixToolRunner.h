// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlHostCore/Ports/ToolRunner.h>

namespace quorl {

/// Tools as child processes. *Queue*, *Blocking*, *Ownership*, *Lifetime*: as the port.
class PosixToolRunner final : public ToolRunner {
 public:
  /// `path`: folders separated by colons, as in the environment variable PATH. Relative ones are skipped.
  explicit PosixToolRunner(std::string path) : path_(std::move(path)) {}

  ToolResult run(const std::vector<std::string>& arguments, std::chrono::milliseconds limit) override;
  bool isExecutable(const std::string& path) override;
  bool exists(const std::string& path) override;
  std::optional<std::string> findInPath(const std::string& name) override;

 private:
  const std::string path_;
};

}  // namespace quorl
