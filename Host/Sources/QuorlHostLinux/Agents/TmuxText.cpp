// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/TmuxText.h>

#include <charconv>
#include <utility>

#include <fmt/format.h>

namespace quorl::TmuxText {

std::map<std::string, Pane> parsePanes(std::string_view output) {
  std::map<std::string, Pane> panes;
  while (!output.empty()) {
    std::string_view line = output.substr(0, output.find('\n'));
    output.remove_prefix(std::min(line.size() + 1, output.size()));
    if (!line.starts_with("0 %")) continue;
    line.remove_prefix(2);
    const std::size_t blank = line.find(' ');
    if (blank == std::string_view::npos) continue;
    Pane pane{.id = std::string(line.substr(0, blank))};
    line.remove_prefix(blank + 1);
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), pane.pid);
    if (error != std::errc{} || pane.pid < 1 || end == line.data() + line.size() || *end != ' ') continue;
    const std::string_view tty(end + 1, line.data() + line.size());
    if (tty.starts_with("/dev/")) panes.emplace(tty, std::move(pane));
  }
  return panes;
}

std::vector<std::string> hexArguments(ByteView bytes) {
  std::vector<std::string> arguments;
  arguments.reserve(bytes.size());
  for (const std::uint8_t byte : bytes) arguments.push_back(fmt::format("{:02x}", byte));
  return arguments;
}

}  // namespace quorl::TmuxText
