// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QuorlHostPosix/UserFolders.h>

namespace quorl {

// What makes a session start the host, in the two forms that there are. Pure: paths and contents only.

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

/// The executable's absolute path: as the system tells it, else the command's own name, put behind the
/// current directory when it is relative.
std::string executablePathFrom(const std::string& toldBySystem, const std::string& command,
                               const std::string& currentDirectory);

}  // namespace quorl
