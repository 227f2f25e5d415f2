// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// QUORL_CHECK(condition, "text"): an invariant of our own code, checked in release builds too. A failure
/// writes the text with file and line to standard error and aborts. Never use it on input of a peer.
namespace quorl::detail {
[[noreturn]] void checkFailed(const char* file, int line, const char* condition, const char* text);
}  // namespace quorl::detail

#define QUORL_CHECK(condition, text)                                      \
  do {                                                                    \
    if (!(condition)) [[unlikely]]                                        \
      ::quorl::detail::checkFailed(__FILE__, __LINE__, #condition, text); \
  } while (false)
