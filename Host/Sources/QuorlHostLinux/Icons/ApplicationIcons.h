// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <QuorlHostLinux/Icons/IconImage.h>
#include <QuorlHostLinux/Icons/IconTheme.h>

namespace quorl {

/// The icons that desktop files name. Only PNG files: no library that we link reads SVG.
///
/// *Queue*: any thread; it has no state. *Blocking*: reads folders and files.
class ApplicationIcons {
 public:
  /// `dataFolders`: as `currentDataFolders` lists them.
  explicit ApplicationIcons(std::vector<std::string> dataFolders)
      : ApplicationIcons(dataFolders, IconTheme::ofThisUser(dataFolders)) {}
  ApplicationIcons(std::vector<std::string> dataFolders, IconTheme theme)
      : dataFolders_(std::move(dataFolders)), theme_(std::move(theme)) {}

  /// The icon of the application with this desktop-file id, in the size of its file.
  std::optional<IconImage> find(const std::string& bundleID, int side) const;

 private:
  std::vector<std::string> dataFolders_;
  IconTheme theme_;
};

}  // namespace quorl
