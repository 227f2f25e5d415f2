// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/TabText.h>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace quorl::client {
namespace {

std::vector<std::string> linesOf(ByteView bytes) {
  std::string_view text = textViewOf(bytes);
  std::vector<std::string> lines;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    auto line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    lines.emplace_back(line);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

bool isBlank(const std::string& line) {
  return line.find_first_not_of(' ') == std::string::npos;
}

// How many of `lines` occur in `text`, in this order.
std::size_t foundInOrder(const std::vector<std::string>& lines, const std::vector<std::string>& text) {
  std::size_t found = 0;
  auto from = text.begin();
  for (const auto& line : lines) {
    if (isBlank(line)) continue;
    const auto at = std::find(from, text.end(), line);
    if (at == text.end()) continue;
    from = std::next(at);
    ++found;
  }
  return found;
}

}  // namespace

void TabText::begin(ByteView whole) {
  lines_ = linesOf(whole);
  keepLast();
}

void TabText::keepLast() {
  if (lines_.size() > compared) lines_.erase(lines_.begin(), lines_.end() - compared);
}

bool TabText::takeIsRepeat(ByteView piece) {
  auto lines = linesOf(piece);
  const auto known = static_cast<std::size_t>(
      std::ranges::count_if(lines_, [](const auto& line) { return !isBlank(line); }));
  const auto found = foundInOrder(lines_, lines);
  const bool isRepeat = found > 0 && 2 * found >= known;
  if (isRepeat) {
    lines_ = std::move(lines);
  } else {
    std::ranges::move(lines, std::back_inserter(lines_));
  }
  keepLast();
  return isRepeat;
}

Bytes TabText::lastLines(ByteView text, std::size_t count) {
  if (!text.empty() && text.back() == '\n') text = text.first(text.size() - 1);
  if (!text.empty() && text.back() == '\r') text = text.first(text.size() - 1);
  std::size_t from = text.size();
  for (; from > 0; --from)
    if (text[from - 1] == '\n' && --count == 0) break;
  const ByteView end = text.subspan(from);
  return Bytes(end.begin(), end.end());
}

}  // namespace quorl::client
