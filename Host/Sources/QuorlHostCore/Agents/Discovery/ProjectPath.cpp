// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Discovery/ProjectPath.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace quorl {

namespace {

/// The maximum depth, for existing folders and for hostile names.
constexpr std::size_t maxDepth = 63;
/// A limit for links that lead to their own folder and form an endless tree. An existing path needs a few
/// hundred checks at most.
constexpr int maxLookUps = 4096;

std::vector<std::string_view> segmentsOf(std::string_view name) {
  if (name.starts_with('-')) name.remove_prefix(1);
  std::vector<std::string_view> segments;
  for (;;) {
    const std::size_t end = name.find('-');
    segments.push_back(name.substr(0, end));
    if (end == std::string_view::npos) return segments;
    name.remove_prefix(end + 1);
  }
}

class Resolution {
 public:
  Resolution(const std::vector<std::string_view>& segments, const PathLookup& lookup)
      : segments_(segments), lookup_(lookup) {}

  std::optional<std::string> resolve(const std::string& base, std::size_t from, std::size_t depth) {
    if (depth > maxDepth) return std::nullopt;
    if (from == segments_.size()) return base.empty() ? std::nullopt : std::optional(base);
    std::string candidate = base + "/";
    for (std::size_t i = from; i < segments_.size(); ++i) {
      if (i > from) candidate += '-';
      candidate += segments_[i];
      if (++lookUps_ > maxLookUps) return std::nullopt;
      if (!lookup_.exists(candidate)) continue;
      if (i + 1 == segments_.size()) return candidate;
      if (!lookup_.isDirectory(candidate)) continue;
      if (std::optional<std::string> result = resolve(candidate, i + 1, depth + 1)) return result;
    }
    return std::nullopt;
  }

 private:
  const std::vector<std::string_view>& segments_;
  const PathLookup& lookup_;
  int lookUps_ = 0;
};

}  // namespace

std::string decodeProjectPath(std::string_view name, const PathLookup& lookup) {
  const std::vector<std::string_view> segments = segmentsOf(name);
  if (std::optional<std::string> path = Resolution(segments, lookup).resolve("", 0, 0)) return *path;
  std::string path;
  for (const std::string_view segment : segments) {
    path += '/';
    path += segment;
  }
  return path;
}

}  // namespace quorl
