// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// Finds out whether the program that has the focus has read the keys sent to it: it answers _NET_WM_PING
/// (Extended Window Manager Hints 1.5) in the order of its events. Window managers ignore answers to pings
/// that are not their own.
///
/// *Queue*: one thread at a time; `ask` waits for the server.
/// *Lifetime*: ends before its connection.
class FocusProbe {
 public:
  using Time = std::chrono::steady_clock::time_point;
  /// The probe gives up on a program that takes longer.
  static constexpr std::chrono::milliseconds patience{2'000};

  explicit FocusProbe(X11Connection& connection) : connection_(connection) {}

  /// Sends a ping to the active window (as the window manager reports it), after keys have been sent.
  void ask();
  /// Takes an event of the server.
  void take(const void* event);
  /// True when no answer is awaited. Also true for a program that does not answer pings.
  bool isAnswered();

 private:
  std::uint32_t activeWindow();
  bool answersPings(std::uint32_t window);
  void listen(bool on);

  X11Connection& connection_;
  std::uint32_t serial_ = 0x51000000;  // far from those of window managers
  bool isAwaited_ = false;
  Time deadline_{};
};

}  // namespace quorl
