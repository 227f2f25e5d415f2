// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include <QuorlHostCore/Ports/FileStore.h>
#include <QuorlHostCore/Ports/LoginItem.h>

#include "StartAtLogin.h"

namespace quorl {

/// Starts the host at login: writes and removes one file. Takes effect at the next login.
///
/// *Queue*: any thread, one operation at a time.
class LaunchAgent final : public LoginItem {
 public:
  LaunchAgent(std::shared_ptr<FileStore> files, StartAtLoginFile file)
      : files_(std::move(files)), file_(std::move(file)) {}

  /// Whether the file exists, with any content.
  bool installed() const override;
  /// Replaces an existing file. A failure is only logged.
  void install() override;
  void uninstall() override;

 private:
  std::shared_ptr<FileStore> files_;
  StartAtLoginFile file_;
};

/// The absolute path of this program's file, also if the file was replaced since. `command` is the first
/// element of the command line.
std::string currentExecutable(const std::string& command);

/// This system's form, for this executable.
StartAtLoginFile currentStartAtLoginFile(const std::string& command);

}  // namespace quorl
