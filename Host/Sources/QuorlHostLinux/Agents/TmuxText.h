// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Arguments for tmux and its output (tmux manual, tmux(1), version 3). Pure.
namespace TmuxText {

/// For `list-panes`: whether the pane is dead, its identity, its first process, its terminal.
inline constexpr std::string_view paneFormat = "#{pane_dead} #{pane_id} #{pane_pid} #{pane_tty}";

struct Pane {
  std::string id;
  std::int32_t pid = 0;

  bool operator==(const Pane&) const = default;
};

/// By device path, the panes that are not dead.
std::map<std::string, Pane> parsePanes(std::string_view output);

/// The bytes as arguments of `send-keys -H`, the only form that changes none of them.
std::vector<std::string> hexArguments(ByteView bytes);

}  // namespace TmuxText

}  // namespace quorl
