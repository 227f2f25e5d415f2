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
  /// `dataFolders`: as `currentDataFolders` lists them. `descriptorLimit`: how many descriptors the
  /// applications may open, where it is another number than this process's.
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
