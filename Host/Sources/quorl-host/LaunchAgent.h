// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/FileStore.h>

#include "StartAtLogin.h"

namespace quorl {

/// Starts the host at login: writes and removes one file. Takes effect at the next login.
///
/// *Queue*: the main thread.
class LaunchAgent {
 public:
  LaunchAgent(std::shared_ptr<FileStore> files, StartAtLoginFile file)
      : files_(std::move(files)), file_(std::move(file)) {}

  /// Whether the file exists, with any content.
  bool installed() const;
  /// Replaces an existing file. A failure is only logged.
  void install();
  void uninstall();

 private:
  std::shared_ptr<FileStore> files_;
  StartAtLoginFile file_;
};

/// This system's form, for this executable. `command` is the first element of the command line.
StartAtLoginFile currentStartAtLoginFile(const std::string& command);

}  // namespace quorl
