// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Files/FileNames.h>

#include <algorithm>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace quorl {

NameParts partsOf(std::string_view name) {
  const auto dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) return {std::string(name), {}};
  return {std::string(name.substr(0, dot)), std::string(name.substr(dot + 1))};
}

std::expected<std::string, PortError> dedupedName(
    std::string_view offered,
    const std::function<std::expected<bool, PortError>(const std::string&)>& isTaken,
    const std::function<UUID()>& freshUUID) {
  std::string name(offered);
  std::ranges::replace(name, '/', '_');
  const auto taken = isTaken(name);
  if (!taken) return std::unexpected(taken.error());
  if (!*taken) return name;

  const NameParts parts = partsOf(name);
  const std::string ending = parts.extension.empty() ? std::string() : "." + parts.extension;
  for (int number = 2; number <= highestNameNumber; ++number) {
    std::string candidate = fmt::format("{} {}{}", parts.stem, number, ending);
    const auto candidateTaken = isTaken(candidate);
    if (!candidateTaken) return std::unexpected(candidateTaken.error());
    if (!*candidateTaken) return candidate;
  }
  return fmt::format("{}-{}{}", parts.stem, freshUUID().text(), ending);
}

std::string standardisedPath(std::string_view path) {
  std::vector<std::string_view> parts;
  while (!path.empty()) {
    const auto slash = std::min(path.find('/'), path.size());
    const std::string_view part = path.substr(0, slash);
    path.remove_prefix(std::min(slash + 1, path.size()));
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
  }
  return fmt::format("/{}", fmt::join(parts, "/"));
}

std::string parentPath(std::string_view path) {
  const auto slash = path.rfind('/');
  return slash == std::string_view::npos || slash == 0 ? "/" : std::string(path.substr(0, slash));
}

std::string joinedPath(std::string_view folder, std::string_view name) {
  return fmt::format("{}{}{}", folder, folder.ends_with('/') ? "" : "/", name);
}

bool isWithin(std::string_view canonicalPath, std::string_view root) {
  return canonicalPath.starts_with(root) &&
         (canonicalPath.size() == root.size() || canonicalPath[root.size()] == '/');
}

}  // namespace quorl
