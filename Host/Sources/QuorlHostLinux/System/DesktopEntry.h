// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quorl {

/// What launching needs of a desktop file (Desktop Entry Specification 1.5).
struct DesktopEntry {
  std::vector<std::string> arguments;  // the program and its arguments; field codes are gone
  std::string workingDirectory;        // empty: none given
  bool needsTerminal = false;

  bool operator==(const DesktopEntry&) const = default;
};

/// Absent for anything but an application with a well-formed command line, and for one that is hidden.
std::optional<DesktopEntry> parseDesktopEntry(const std::string& text);

/// The paths below an `applications` folder that a desktop-file id can stand for, the plainest first: each
/// "-" may also be a folder's end. Empty for an id that could lead elsewhere.
std::vector<std::string> desktopFileCandidates(const std::string& id);

}  // namespace quorl
