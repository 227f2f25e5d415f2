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
  std::string icon;  // Icon: a name of the icon theme or an absolute path; empty when absent
  bool needsTerminal = false;
  bool isHidden = false;            // NoDisplay: in no menu
  bool isTerminalEmulator = false;  // by its Categories

  bool operator==(const DesktopFile&) const = default;
};

/// Absent for other types and for deleted applications (`Hidden`).
std::optional<DesktopFile> parseDesktopFile(std::string_view text);

/// Reads the file of an absolute path. Also absent when it cannot be read or exceeds 1 MiB.
std::optional<DesktopFile> readDesktopFile(const std::string& path);

/// The paths below an `applications` folder that a desktop-file id can mean, starting with the plain one:
/// each "-" may also separate folders. Empty for an id that could leave the folder.
std::vector<std::string> desktopFileCandidates(const std::string& id);

/// The desktop file of an id, in the first of the data folders that has it.
std::optional<std::string> findDesktopFile(const std::vector<std::string>& dataFolders,
                                           const std::string& id);

/// The data folders of the user and of the system, the most important first (XDG Base Directory
/// Specification: XDG_DATA_HOME, XDG_DATA_DIRS). Desktop files are in their `applications` folders.
std::vector<std::string> currentDataFolders();

}  // namespace quorl
