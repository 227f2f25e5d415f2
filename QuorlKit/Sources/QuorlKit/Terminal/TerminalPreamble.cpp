// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Terminal/TerminalPreamble.h>

#include <algorithm>
#include <string_view>

namespace quorl {
namespace {

constexpr std::uint8_t mark = 0x18;
constexpr std::string_view beginning = "\x18\x1b[0m";
// No modes are longer.
constexpr std::size_t maxSize = 8192;

}  // namespace

std::optional<TerminalPreamble> TerminalPreamble::of(ByteView output) {
  if (!textViewOf(output).starts_with(beginning)) return std::nullopt;
  const ByteView head = output.subspan(beginning.size(), std::min(output.size() - beginning.size(), maxSize));
  const auto end = std::ranges::find(head, mark);
  if (end == head.end()) return std::nullopt;
  const auto size = static_cast<std::size_t>(end - head.begin());
  TerminalPreamble result{.before = Before::history,
                          .modes = head.first(size),
                          .rest = output.subspan(beginning.size() + size + 1)};
  if (!result.rest.empty() && result.rest.front() == mark) {
    result.before = Before::live;
    result.rest = result.rest.subspan(1);
  }
  return result;
}

Bytes TerminalPreamble::with(Before before, ByteView modes) {
  if (modes.empty()) return {};
  Bytes bytes = bytesOf(beginning);
  bytes.insert(bytes.end(), modes.begin(), modes.end());
  bytes.push_back(mark);
  if (before == Before::live) bytes.push_back(mark);
  return bytes;
}

}  // namespace quorl
