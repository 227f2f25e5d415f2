// SPDX-License-Identifier: GPL-3.0-or-later
#include "OwnEnvironment.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace quorl {

bool belongsToOwnTerminal(std::string_view name) {
  constexpr std::array<std::string_view, 5> names = {"TMUX", "TMUX_PANE", "COLUMNS", "LINES",
                                                     "JOURNAL_STREAM"};
  return name.starts_with("KITTY_") || std::ranges::find(names, name) != names.end();
}

void forgetOwnTerminal() {
  std::vector<std::string> found;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    const std::string_view name = text.substr(0, text.find('='));
    if (belongsToOwnTerminal(name)) found.emplace_back(name);
  }
  for (const std::string& name : found) ::unsetenv(name.c_str());
}

}  // namespace quorl
