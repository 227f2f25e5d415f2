// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/Workspace.h>

namespace quorl {

/// Finds and opens applications, which are desktop files or executable files.
///
/// *Queue*: the main thread.
class DesktopWorkspace final : public Workspace {
 public:
  /// `dataFolders`: as `currentDataFolders` lists them. `descriptorLimit`: the descriptors that applications
  /// may open, if it differs from the limit of this process.
  explicit DesktopWorkspace(std::vector<std::string> dataFolders,
                            std::optional<std::uint64_t> descriptorLimit = {})
      : dataFolders_(std::move(dataFolders)), descriptorLimit_(descriptorLimit) {}

  std::optional<std::string> applicationPath(const std::string& bundleIdentifier) override;
  void openApplication(const std::string& path) override;

 private:
  std::vector<std::string> dataFolders_;
  std::optional<std::uint64_t> descriptorLimit_;
};

}  // namespace quorl
