// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorl {

/// One application as its desktop file describes it (Desktop Entry Specification 1.5).
struct DesktopFile {
  std::string name;                    // Name, without a locale; UTF-8
  std::string windowClass;             // StartupWMClass
  std::vector<std::string> arguments;  // Exec without its field codes; empty when absent or malformed
  std::string workingDirectory;        // Path; empty when absent
  bool needsTerminal = false;
  bool isHidden = false;  // NoDisplay: in no menu

  bool operator==(const DesktopFile&) const = default;
};

/// Absent for anything but an application, and for a deleted one (`Hidden`).
std::optional<DesktopFile> parseDesktopFile(std::string_view text);

/// The file of an absolute path. Absent also when it cannot be read or is larger than 1 MiB.
std::optional<DesktopFile> readDesktopFile(const std::string& path);

/// The paths below an `applications` folder that a desktop-file id can mean, the plainest first: each "-" may
/// also be a folder's end. Empty for an id that could lead elsewhere.
std::vector<std::string> desktopFileCandidates(const std::string& id);

/// The user's data folder and the system's, the most important first (XDG Base Directory Specification:
/// XDG_DATA_HOME, XDG_DATA_DIRS). Desktop files are in their `applications` folders.
std::vector<std::string> currentDataFolders();

}  // namespace quorl
