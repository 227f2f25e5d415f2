// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostMac/Users/DirectoryText.h>

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace quorl::DirectoryText {

namespace {

std::vector<std::string_view> pieces(std::string_view text, char separator) {
  std::vector<std::string_view> found;
  while (!text.empty()) {
    const auto piece = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
    if (!piece.empty()) found.push_back(piece);
  }
  return found;
}

std::string trimmed(std::string_view text, std::string_view characters) {
  const auto first = text.find_first_not_of(characters);
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(characters) - first + 1));
}

int digitValue(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  return -1;
}

}  // namespace

std::vector<UserEntry> userList(std::string_view output) {
  std::vector<UserEntry> users;
  for (const auto line : pieces(output, '\n')) {
    const auto words = pieces(line, ' ');
    if (words.size() < 2) continue;
    const auto number = words.back();
    std::uint32_t uid = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), uid);
    if (error == std::errc() && end == number.data() + number.size())
      users.push_back({.uid = uid, .username = std::string(words.front())});
  }
  return users;
}

std::optional<std::string> value(std::string_view output, std::string_view key) {
  const std::string onTheSameLine = std::string(key) + ": ";
  if (const auto found = output.find(onTheSameLine); found != std::string_view::npos) {
    const auto rest = output.substr(found + onTheSameLine.size());
    return trimmed(rest.substr(0, rest.find('\n')), " \t");
  }
  const auto lines = pieces(output, '\n');
  const std::string prefix = std::string(key) + ":";
  const auto line =
      std::ranges::find_if(lines, [&](std::string_view text) { return text.starts_with(prefix); });
  if (line == lines.end() || line + 1 == lines.end()) return std::nullopt;
  return trimmed(*(line + 1), " \t");
}

std::optional<std::string> picturePath(std::string_view output) {
  const auto path = value(output, "Picture");
  return path ? std::optional(trimmed(*path, "\"' \t")) : std::nullopt;
}

std::optional<Bytes> jpegPhoto(std::string_view output) {
  constexpr std::string_view key = "JPEGPhoto";
  constexpr std::string_view label = "JPEGPhoto:";
  if (output.find(key) == std::string_view::npos) return std::nullopt;
  std::string digits(output);
  for (auto at = digits.find(label); at != std::string::npos; at = digits.find(label, at))
    digits.erase(at, label.size());
  return dataFromHex(digits);
}

std::optional<Bytes> dataFromHex(std::string_view text) {
  Bytes bytes;
  int high = -1;
  for (const char character : text) {
    const int digit = digitValue(character);
    if (digit < 0) continue;
    if (high < 0) {
      high = digit;
    } else {
      bytes.push_back(static_cast<std::uint8_t>(high << 4 | digit));
      high = -1;
    }
  }
  if (bytes.empty()) return std::nullopt;
  return bytes;
}

}  // namespace quorl::DirectoryText
