// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>
#include <QuorlHostLinux/X11/Input/Shortcuts.h>

namespace quorl {

/// Whether an application with this window class is a terminal by its desktop file (category
/// TerminalEmulator). Reads files.
bool isTerminalByDesktopFile(const std::string& windowClass);

/// Which kind of program has the focus. Asks the server once after each change of the active window that the
/// window manager announces (_NET_ACTIVE_WINDOW); without a window manager, each time.
///
/// *Queue*: one thread at a time; `current` may wait for the server and read files.
/// *Lifetime*: ends before its connection.
class ProgramFocus {
 public:
  using TerminalTest = std::function<bool(const std::string& windowClass)>;

  explicit ProgramFocus(X11Connection& connection, TerminalTest isTerminal = isTerminalByDesktopFile);

  /// Takes an event of the server.
  void take(const void* event);
  FocusedProgram current();

 private:
  std::optional<std::uint32_t> activeWindow();
  std::uint32_t focusedWindow();
  std::string classOf(std::uint32_t window);
  FocusedProgram programOf(const std::string& windowClass) const;

  X11Connection& connection_;
  const TerminalTest isTerminal_;
  std::optional<FocusedProgram> known_;
};

}  // namespace quorl
