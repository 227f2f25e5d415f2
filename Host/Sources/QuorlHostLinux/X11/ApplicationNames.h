// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quorl {

struct ApplicationIdentity {
  std::string bundleID;  // desktop-file id without ".desktop", else "x11." and the window's class
  std::string name;

  bool operator==(const ApplicationIdentity&) const = default;
};

/// One entry of the desktop's application list (Desktop Entry Specification 1.5).
struct DesktopEntry {
  std::string id;
  std::string name;
  std::string windowClass;  // StartupWMClass
  std::string program;      // the file name that Exec starts
};

/// Parses one desktop file; empty `name` when it describes no application.
DesktopEntry parseDesktopEntry(std::string id, std::string_view text);

/// Tells which application a window belongs to.
///
/// *Queue*: one thread at a time.
class ApplicationNames {
 public:
  /// Folders that hold desktop files, the first one's winning; from XDG_DATA_HOME and XDG_DATA_DIRS by
  /// default.
  ApplicationNames();
  explicit ApplicationNames(std::vector<std::filesystem::path> folders) : folders_(std::move(folders)) {}

  /// Reads the folders again if one of them has changed.
  void refresh();

  ApplicationIdentity identify(const std::string& windowClass, std::int32_t pid) const;

 private:
  std::vector<std::filesystem::path> folders_;
  std::map<std::filesystem::path, std::filesystem::file_time_type> seen_;
  std::vector<DesktopEntry> entries_;
};

}  // namespace quorl
