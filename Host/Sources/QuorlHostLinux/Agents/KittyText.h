// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Requests to kitty and its answers (kitty's remote control protocol: JSON in a device control string;
/// listings are JSON in a string of that JSON). Pure. The answers may be hostile.
namespace KittyText {

/// The local socket that a process's environment, "NAME=value" each ended by a NUL, names for the kitty it
/// runs in: a path, or "@" and a name in the abstract namespace. Nothing for the other kinds of address.
std::optional<std::string> socketIn(std::string_view environment);

enum class Extent : std::uint8_t { screen, screenAndHistory };

std::string listCommand();
std::string textCommand(std::int64_t window, Extent extent);
/// The commands that type these bytes, in order. The bytes arrive unchanged. kitty answers refusals only.
std::string typeCommands(std::int64_t window, ByteView bytes);

struct Reply {
  bool isDone = false;
  std::string data;   // of a success
  std::string error;  // of a failure
};

/// The first answer in a text; nothing when it does not begin with one.
std::optional<Reply> parseReply(std::string_view text);
/// Whether the failure is a window that does not exist.
bool saysWindowIsGone(std::string_view error);

struct Window {
  std::int64_t id = 0;   // unique in one kitty
  std::int32_t pid = 0;  // of the program that the window was opened for
};

/// The windows in the data of a listing; nothing when it is none.
std::optional<std::vector<Window>> parseWindows(std::string_view data);

}  // namespace KittyText

}  // namespace quorl
