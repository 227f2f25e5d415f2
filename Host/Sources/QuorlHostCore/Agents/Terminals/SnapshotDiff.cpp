// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/SnapshotDiff.h>

#include <algorithm>
#include <vector>

namespace quorl::SnapshotDiff {

namespace {

using Lines = std::vector<std::string_view>;

Lines firstLines(std::string_view text, std::size_t limit) {
  Lines lines;
  while (lines.size() < limit) {
    const std::size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  return lines;
}

Lines lastLines(std::string_view text, std::size_t limit) {
  Lines lines;
  while (lines.size() < limit) {
    const std::size_t end = text.rfind('\n');
    if (end == std::string_view::npos) {
      lines.push_back(text);
      break;
    }
    lines.push_back(text.substr(end + 1));
    text = text.substr(0, end);
  }
  std::ranges::reverse(lines);
  return lines;
}

/// Tracks how many lines at the end of the text so far match the start of a pattern. Each line is compared a
/// bounded number of times on average (Knuth, Morris, Pratt 1977).
class OverlapMatcher {
 public:
  explicit OverlapMatcher(const Lines& pattern) : pattern_(pattern), shorter_(pattern.size(), 0) {
    std::size_t matched = 0;
    for (std::size_t i = 1; i < pattern_.size(); ++i) {
      matched = step(matched, pattern_[i]);
      shorter_[i] = matched;
    }
  }

  /// The new count after `line` follows a text that ends with the first `matched` lines.
  std::size_t step(std::size_t matched, std::string_view line) const {
    if (matched == pattern_.size()) matched = shorter_[matched - 1];
    while (matched > 0 && pattern_[matched] != line) matched = shorter_[matched - 1];
    return pattern_[matched] == line ? matched + 1 : matched;
  }

 private:
  const Lines& pattern_;
  std::vector<std::size_t> shorter_;  // the next shorter count after a mismatch following each line
};

}  // namespace

std::string_view newTail(std::string_view previous, std::string_view current) {
  if (previous.empty()) return current;
  if (previous == current) return {};
  Lines old = lastLines(previous, overlapLimit);
  Lines fresh = firstLines(current, overlapLimit);
  const std::size_t longest = std::min(old.size(), fresh.size());
  old.erase(old.begin(), old.end() - static_cast<std::ptrdiff_t>(longest));
  fresh.resize(longest);

  const OverlapMatcher matcher(fresh);
  std::size_t overlap = 0;
  for (const std::string_view line : old) overlap = matcher.step(overlap, line);
  for (; overlap > 0; --overlap) {
    const std::size_t end = current.find('\n');
    if (end == std::string_view::npos) return {};
    current.remove_prefix(end + 1);
  }
  return current;
}

std::string normalised(std::string_view text) {
  std::string result;
  result.reserve(text.size() + text.size() / 16 + 2);
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c != '\r' && c != '\n') {
      result += c;
      continue;
    }
    if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
    result += "\r\n";
  }
  return result;
}

}  // namespace quorl::SnapshotDiff
