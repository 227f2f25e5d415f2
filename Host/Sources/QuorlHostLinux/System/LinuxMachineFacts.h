// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlHostCore/Ports/MachineFacts.h>

namespace quorl {

/// From the files of the system: machine-info(5), os-release(5), the kernel's DMI and device tree entries.
///
/// *Queue*: any thread; its only state is the root.
class LinuxMachineFacts final : public MachineFacts {
 public:
  /// `root` is the prefix of every path; tests use a folder of their own.
  explicit LinuxMachineFacts(std::string root = "") : root_(std::move(root)) {}

  std::string computerName() override;
  std::string hardwareModel() override;
  std::string operatingSystemVersion() override;

 private:
  std::string fileText(const char* path) const;
  std::string firstLine(const char* path) const;

  std::string root_;
};

/// The value of `name` in a file of shell-like assignments (os-release(5)): without quotes and escapes. Empty
/// when absent.
std::string assignmentValue(const std::string& text, const std::string& name);

}  // namespace quorl
