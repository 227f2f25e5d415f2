// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/ProcText.h>

#include <charconv>
#include <cstddef>

#include <QuorlKit/Foundation/UTF8.h>

namespace quorl::ProcText {

namespace {

std::string_view takeField(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const std::string_view field = text.substr(0, text.find(' '));
  text.remove_prefix(field.size());
  return field;
}

std::optional<std::int32_t> takeNumber(std::string_view& text) {
  const std::string_view field = takeField(text);
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
  if (error != std::errc{} || end != field.data() + field.size()) return std::nullopt;
  return number;
}

// 0 where there is none.
std::uint64_t unsignedNumber(std::string_view field) {
  std::uint64_t number = 0;
  std::from_chars(field.data(), field.data() + field.size(), number);
  return number;
}

}  // namespace

// The name may contain anything, so it ends at the last parenthesis of the text.
std::optional<Stat> parseStat(std::string_view text) {
  const std::size_t open = text.find('(');
  const std::size_t close = text.rfind(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return std::nullopt;
  std::string_view rest = text.substr(close + 1);
  const std::string_view state = takeField(rest);
  const std::optional<std::int32_t> parent = takeNumber(rest);
  takeField(rest);
  takeField(rest);
  const std::optional<std::int32_t> terminal = takeNumber(rest);
  if (state.size() != 1 || !parent || !terminal) return std::nullopt;
  for (int field = 8; field < 22; ++field) takeField(rest);
  const std::string_view startTime = takeField(rest);
  return Stat{.name = std::string(text.substr(open + 1, close - open - 1)),
              .state = state.front(),
              .parent = *parent,
              .terminal = static_cast<std::uint32_t>(*terminal),
              .startTime = unsignedNumber(startTime)};
}

// The kernel's packing of the two numbers into 32 bits: minor 7..0, major 19..8, minor 31..20.
std::uint32_t majorNumber(std::uint32_t device) {
  return (device >> 8) & 0xFFF;
}

std::uint32_t minorNumber(std::uint32_t device) {
  return (device & 0xFF) | ((device >> 12) & 0xFFF00);
}

// Linux allocated devices (admin-guide/devices.txt): 136 to 143 are the Unix98 terminals, 4 the consoles and
// the serial lines after them.
std::optional<std::string> terminalName(std::uint32_t device) {
  const std::uint32_t major = majorNumber(device);
  const std::uint32_t minor = minorNumber(device);
  if (major >= 136 && major <= 143) return "pts/" + std::to_string((major - 136) * 256 + minor);
  if (major == 4 && minor < 64) return "tty" + std::to_string(minor);
  if (major == 4) return "ttyS" + std::to_string(minor - 64);
  return std::nullopt;
}

std::string commandLine(std::string_view text) {
  while (text.ends_with('\0')) text.remove_suffix(1);
  std::string line = repairedUTF8(text);
  for (char& c : line) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (byte == 0) {
      c = ' ';
    } else if (byte < 0x20 || byte == 0x7F) {
      c = '?';
    }
  }
  return line;
}

std::string linkTarget(std::string_view target) {
  constexpr std::string_view removed = " (deleted)";
  if (target.ends_with(removed)) target.remove_suffix(removed.size());
  return repairedUTF8(target);
}

}  // namespace quorl::ProcText
