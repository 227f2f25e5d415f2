// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/ScreenText.h>

#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

std::string screenText(std::string_view captured, std::size_t lines) {
  const std::size_t end = captured.find_last_not_of(" \t\n");
  if (end == std::string_view::npos) return {};
  // The blanks after the last word stay: a prompt ends in one.
  captured = captured.substr(0, captured.find('\n', end));
  std::size_t start = captured.size();
  for (std::size_t count = 0; count < lines; ++count) {
    const std::size_t before = start == 0 ? std::string_view::npos : captured.rfind('\n', start - 1);
    if (before == std::string_view::npos) return repairedUTF8(captured);
    start = before;
  }
  return repairedUTF8(captured.substr(start + 1));
}

}  // namespace quorl
