// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Text/TerminalText.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

namespace {

constexpr char escape = '\x1b';
constexpr char bell = '\x07';
constexpr std::size_t previewTail = 4096;

bool isBetween(char character, char first, char last) {
  return character >= first && character <= last;
}

// The length of the control sequence that begins with "ESC [" at the start of `text`, or 0. The three
// character classes are disjoint, so greedy matching needs no backtracking.
std::size_t controlSequenceLength(std::string_view text) {
  std::size_t at = 2;
  while (at < text.size() && (isBetween(text[at], '0', '9') || text[at] == ';' || text[at] == '?')) ++at;
  while (at < text.size() && isBetween(text[at], ' ', '/')) ++at;
  return at < text.size() && isBetween(text[at], '@', '~') ? at + 1 : 0;
}

// The same for "ESC ]": an operating system command, up to BEL or ESC "\".
std::size_t systemCommandLength(std::string_view text) {
  constexpr std::string_view ends("\x07\x1b", 2);
  const std::size_t end = text.find_first_of(ends, 2);
  if (end == std::string_view::npos) return 0;
  if (text[end] == bell) return end + 1;
  return end + 1 < text.size() && text[end + 1] == '\\' ? end + 2 : 0;
}

bool isDroppedControl(char character) {
  const auto code = static_cast<unsigned char>(character);
  return code < 0x20 && code != '\t' && code != '\n';
}

// The number of noise bytes at the start of `text`, which is not empty.
std::size_t noiseLength(std::string_view text) {
  if (text[0] == escape && text.size() > 1) {
    std::size_t length = 0;
    if (text[1] == '[') length = controlSequenceLength(text);
    if (text[1] == ']') length = systemCommandLength(text);
    if (length > 0) return length;
  }
  return isDroppedControl(text[0]) ? 1 : 0;
}

std::string fromLatin1(ByteView bytes) {
  std::string text;
  text.reserve(bytes.size() + bytes.size() / 4);
  for (const std::uint8_t byte : bytes) appendUTF8(text, byte);
  return text;
}

}  // namespace

std::string cleanedTerminalText(std::string_view text) {
  std::string kept;
  kept.reserve(text.size());
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t noise = noiseLength(text.substr(at));
    if (noise == 0) kept += text[at];
    at += std::max<std::size_t>(noise, 1);
  }
  return kept;
}

std::optional<std::string_view> lastNonEmptyLine(std::string_view text) {
  for (;;) {
    const std::size_t lineFeed = text.rfind('\n');
    const std::size_t start = lineFeed == std::string_view::npos ? 0 : lineFeed + 1;
    const std::string_view line = trimmedBlanks(text.substr(start));
    if (!line.empty()) return line;
    if (lineFeed == std::string_view::npos) return std::nullopt;
    text = text.substr(0, lineFeed);
  }
}

std::optional<std::string> terminalPreviewLine(ByteView output) {
  const ByteView tail = output.last(std::min(output.size(), previewTail));
  const std::string_view raw = textViewOf(tail);
  const std::string cleaned = cleanedTerminalText(isValidUTF8(raw) ? std::string(raw) : fromLatin1(tail));
  const auto line = lastNonEmptyLine(cleaned);
  if (!line) return std::nullopt;
  return std::string(*line);
}

AlternateScreenScanner::AlternateScreenScanner(bool isInAlternateScreen, ByteView output) {
  const ByteView end = output.last(std::min(output.size(), carryLength));
  carry_.assign(end.begin(), end.end());
  isInAlternateScreen_ = isInAlternateScreen;
}

void AlternateScreenScanner::update(ByteView output) {
  constexpr std::array<std::string_view, 2> enters = {"\x1b[?1049h", "\x1b[?47h"};
  constexpr std::array<std::string_view, 2> leaves = {"\x1b[?1049l", "\x1b[?47l"};
  // The last of the four sequences decides. The few bytes around the seam are searched joined, the rest in
  // place.
  const auto scan = [&](std::string_view text) {
    for (std::size_t at = text.find(escape); at != std::string_view::npos; at = text.find(escape, at + 1)) {
      const std::string_view rest = text.substr(at);
      const auto begins = [rest](std::string_view sequence) { return rest.starts_with(sequence); };
      if (std::ranges::any_of(enters, begins)) isInAlternateScreen_ = true;
      if (std::ranges::any_of(leaves, begins)) isInAlternateScreen_ = false;
    }
  };
  Bytes seam = carry_;
  const ByteView head = output.first(std::min(output.size(), carryLength));
  seam.insert(seam.end(), head.begin(), head.end());
  scan(textViewOf(seam));
  scan(textViewOf(output));
  if (output.size() >= carryLength) {
    const ByteView end = output.last(carryLength);
    carry_.assign(end.begin(), end.end());
  } else {
    carry_ = std::move(seam);
    if (carry_.size() > carryLength)
      carry_.erase(carry_.begin(), carry_.end() - static_cast<std::ptrdiff_t>(carryLength));
  }
}

Scrollback::Scrollback(Bytes contents, TerminalModes modesAtBegin)
    : storage_(std::move(contents)), modesAtBegin_(std::move(modesAtBegin)) {
  trim();
}

void Scrollback::append(ByteView output) {
  if (storage_.size() + output.size() > 2 * limit && begin_ > 0) {
    storage_.erase(storage_.begin(), storage_.begin() + static_cast<std::ptrdiff_t>(begin_));
    begin_ = 0;
  }
  const std::size_t needed = storage_.size() + output.size();
  if (needed > storage_.capacity())
    storage_.reserve(std::max(needed, std::min(2 * storage_.capacity(), 2 * limit)));
  storage_.insert(storage_.end(), output.begin(), output.end());
  trim();
}

void Scrollback::trim() {
  const ByteView kept = contents();
  if (kept.size() <= limit) return;
  const std::size_t start = kept.size() - limit;
  const std::size_t end = std::min(start + boundarySearch, kept.size());
  const auto isBoundary = [](std::uint8_t byte) { return byte == '\n' || byte == escape; };
  const ByteView window = kept.subspan(start, end - start);
  const auto hit = std::ranges::find_if(window, isBoundary);
  const std::size_t cut = start + static_cast<std::size_t>(hit - window.begin());
  modesAtBegin_.follow(kept.first(cut));
  begin_ += cut;
}

ByteView Scrollback::tail(std::size_t length) const {
  const ByteView all = contents();
  return all.last(std::min(all.size(), length));
}

}  // namespace quorl
