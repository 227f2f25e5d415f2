// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostMac/Agents/ProcessParsers.h>

#include <charconv>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>

#include <QuorlKit/Foundation/UTF8.h>

namespace quorl::ProcessParsers {

namespace {

/// Takes the first line off `text`.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

/// Takes the first word and the blanks around it off `line`.
std::string_view takeWord(std::string_view& line) {
  const auto dropBlanks = [&line] { line.remove_prefix(std::min(line.find_first_not_of(' '), line.size())); };
  dropBlanks();
  const std::string_view word = line.substr(0, line.find(' '));
  line.remove_prefix(word.size());
  dropBlanks();
  return word;
}

std::optional<std::int32_t> parsePID(std::string_view text) {
  std::int32_t pid = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return pid;
}

}  // namespace

std::vector<PSRow> parseProcesses(ByteView output) {
  std::vector<PSRow> rows;
  std::string_view text = textViewOf(output);
  if (!isValidUTF8(text)) return rows;
  while (!text.empty()) {
    std::string_view line = takeLine(text);
    const std::optional<std::int32_t> pid = parsePID(takeWord(line));
    const std::string_view tty = takeWord(line);
    if (!pid || line.empty()) continue;
    rows.push_back({.pid = *pid, .tty = std::string(tty), .command = std::string(line)});
  }
  return rows;
}

std::map<std::int32_t, std::string> parseExecutables(ByteView output) {
  std::map<std::int32_t, std::string> paths;
  std::string_view text = textViewOf(output);
  if (!isValidUTF8(text)) return paths;
  while (!text.empty()) {
    std::string_view line = takeLine(text);
    const std::optional<std::int32_t> pid = parsePID(takeWord(line));
    if (pid && !line.empty()) paths[*pid] = std::string(line);
  }
  return paths;
}

std::map<std::int32_t, std::string> parseWorkingDirectories(ByteView output) {
  std::map<std::int32_t, std::string> directories;
  std::string_view text = textViewOf(output);
  if (!isValidUTF8(text)) return directories;
  std::optional<std::int32_t> current;
  while (!text.empty()) {
    const std::string_view line = takeLine(text);
    if (line.starts_with('p')) current = parsePID(line.substr(1));
    if (line.starts_with('n') && current) directories[*current] = std::string(line.substr(1));
  }
  return directories;
}

}  // namespace quorl::ProcessParsers
