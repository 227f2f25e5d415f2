// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/FitInstruction.h>

#include <algorithm>
#include <charconv>
#include <optional>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Commands/StreamOptions.h>

namespace quorl::client {
namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view takeWord(std::string_view& text) {
  const auto begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return text = {};
  const auto end = std::min(text.find_first_of(blanks, begin), text.size());
  const std::string_view word = text.substr(begin, end - begin);
  text.remove_prefix(end);
  return word;
}

std::optional<double> scaleOf(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !(value > 0 && value <= 1))
    return std::nullopt;
  return value;
}

}  // namespace

std::expected<FitInstruction, std::string> parseFitInstruction(std::string_view line) {
  std::string_view rest = line;
  const auto verb = takeWord(rest);
  const auto value = takeWord(rest);
  const bool isWhole = takeWord(rest).empty();
  if (verb.empty()) return fitInstruction::Nothing{};
  if (isWhole && verb == "quit" && value.empty()) return fitInstruction::Quit{};
  if (isWhole && verb == "fit" && (value == "on" || value == "off"))
    return fitInstruction::Fit{value == "on"};
  if (isWhole && verb == "scale")
    if (const auto scale = scaleOf(value)) return fitInstruction::Scale{*scale};
  if (isWhole && verb == "view")
    if (const auto size = parseView(value)) return fitInstruction::View{*size};
  return std::unexpected(fmt::format(
      "\"{}\" is not understood; use 'view WxH', 'fit on', 'fit off', 'scale S' (up to 1) or 'quit'",
      printable(line.substr(0, 80))));
}

}  // namespace quorl::client
