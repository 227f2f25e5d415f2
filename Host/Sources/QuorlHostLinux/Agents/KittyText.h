// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// The texts that kitty is sent and answers (kitty's remote control protocol: JSON in a device control
/// string, the listings JSON in that JSON again). Pure; the answers are as hostile as the process that gave
/// them.
namespace KittyText {

/// The local socket that a process's environment, "NAME=value" each ended by a NUL, names for the kitty it
/// runs in: a path, or "@" and a name in the abstract namespace. Nothing for the other kinds of address.
std::optional<std::string> socketIn(std::string_view environment);

enum class Extent : std::uint8_t { screen, screenAndHistory };

std::string listCommand();
std::string textCommand(std::int64_t window, Extent extent);
/// As many commands as it takes, in order. The bytes arrive unchanged; kitty answers nothing but refusals.
std::string typeCommands(std::int64_t window, ByteView bytes);

struct Reply {
  bool isDone = false;
  std::string data;   // of what was done
  std::string error;  // of what was not
};

/// The first answer in a text; nothing when it does not begin with one.
std::optional<Reply> parseReply(std::string_view text);
/// Whether the reason is that there is no such window.
bool saysWindowIsGone(std::string_view error);

struct Window {
  std::int64_t id = 0;   // given once by each kitty
  std::int32_t pid = 0;  // of the program that the window was opened for
};

/// The windows in the data of a listing; nothing when it is none.
std::optional<std::vector<Window>> parseWindows(std::string_view data);

}  // namespace KittyText

}  // namespace quorl
