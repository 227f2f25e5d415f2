// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Icons/ApplicationIcons.h>

#include <QuorlHostLinux/Applications/DesktopFile.h>
#include <QuorlHostPosix/PosixFileStore.h>

namespace quorl {

namespace {

constexpr std::size_t maxFileSize = 4'194'304;

}  // namespace

std::optional<IconImage> ApplicationIcons::find(const std::string& bundleID, int side) const {
  const auto file = findDesktopFile(dataFolders_, bundleID);
  if (!file) return std::nullopt;
  const auto entry = readDesktopFile(*file);
  if (!entry) return std::nullopt;
  const auto path = theme_.find(entry->icon, side);
  if (!path) return std::nullopt;
  const auto bytes = PosixFileStore().read(*path, maxFileSize);
  if (!bytes) return std::nullopt;
  return decodePNG(*bytes);
}

}  // namespace quorl
