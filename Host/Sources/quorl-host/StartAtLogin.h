// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlHostPosix/UserFolders.h>

namespace quorl {

// The files that make a session start the host, in two forms. Pure: paths and contents only.

/// One file that a login session reads.
struct StartAtLoginFile {
  std::string path;
  std::string contents;

  bool operator==(const StartAtLoginFile&) const = default;
};

/// A property list in XML for launchd(8), launchd.plist(5).
StartAtLoginFile launchdPropertyList(const UserFolders& folders, const std::string& executable);

/// A desktop file in the autostart folder (Desktop Application Autostart Specification 0.5).
StartAtLoginFile autostartEntry(const UserFolders& folders, const std::string& executable);

/// The executable's absolute path: as the system reports it, else the command's name, relative to the current
/// directory.
std::string executablePathFrom(const std::string& toldBySystem, const std::string& command,
                               const std::string& currentDirectory);

}  // namespace quorl
