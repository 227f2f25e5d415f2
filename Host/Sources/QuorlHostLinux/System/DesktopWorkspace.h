// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/Workspace.h>

namespace quorl {

/// Applications are desktop files; an executable file is one too.
///
/// *Queue*: the main thread.
class DesktopWorkspace final : public Workspace {
 public:
  /// Folders that hold `applications` folders, the most important first (XDG Base Directory Specification).
  /// `descriptorLimit`: how many descriptors the applications may open, where it is another number than this
  /// process's.
  explicit DesktopWorkspace(std::vector<std::string> dataFolders,
                            std::optional<std::uint64_t> descriptorLimit = {})
      : dataFolders_(std::move(dataFolders)), descriptorLimit_(descriptorLimit) {}

  std::optional<std::string> applicationPath(const std::string& bundleIdentifier) override;
  void openApplication(const std::string& path) override;

 private:
  std::vector<std::string> dataFolders_;
  std::optional<std::uint64_t> descriptorLimit_;
};

/// The user's data folder and the system's, by XDG_DATA_HOME and XDG_DATA_DIRS.
std::vector<std::string> currentDataFolders();

}  // namespace quorl
