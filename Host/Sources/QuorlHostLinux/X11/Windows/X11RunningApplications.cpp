// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Windows/X11RunningApplications.h>

#include <QuorlHostLinux/Icons/WindowIcon.h>
#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>

namespace quorl {

namespace {

std::optional<IconImage> readIcon(X11Connection& connection, std::uint32_t window, int side) {
  const std::uint32_t property = connection.atom("_NET_WM_ICON");
  std::uint64_t bytes = 0;
  PropertyRequest(connection, window, property, 1).takeNumbers(bytes);
  const auto read = [&](std::uint32_t offset, std::uint32_t count) {
    return PropertyRequest(connection, window, property, count, offset).takeNumbers();
  };
  return bestWindowIcon(bytes / 4, read, side);
}

}  // namespace

std::set<std::int32_t> X11RunningApplications::regularApplications() {
  const auto windows = session_->ask([](X11Connection& connection) { return readWindows(connection); });
  std::set<std::int32_t> pids;
  if (!windows) return pids;
  for (const auto& window : *windows)
    if (window.isRegular() && window.pid > 0) pids.insert(window.pid);
  return pids;
}

std::optional<Bytes> X11RunningApplications::iconPNG(const std::string& bundleID, std::int32_t pid,
                                                     int side) {
  if (side < 1 || side > largestIconSide) return std::nullopt;
  // The theme first: some window managers give their own icon to windows that have none.
  auto icon = icons_.find(bundleID, side);
  if (!icon) icon = windowIcon(pid, side);
  if (!icon) return std::nullopt;
  return encodePNG(scaledToSquare(*icon, side));
}

std::optional<IconImage> X11RunningApplications::windowIcon(std::int32_t pid, int side) {
  auto answer = session_->ask([pid, side](X11Connection& connection) -> std::optional<IconImage> {
    for (const auto& window : readWindows(connection)) {
      if (window.pid != pid || pid == 0 || !window.isRegular()) continue;
      if (auto icon = readIcon(connection, window.window, side)) return icon;
    }
    return std::nullopt;
  });
  return std::move(answer).value_or(std::nullopt);
}

}  // namespace quorl
