// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace quorl {

/// What the program with the focus does with Control.
enum class FocusedProgram : std::uint8_t {
  ordinary,       // Control makes shortcuts
  terminal,       // Control goes to the program inside; Control and Shift make shortcuts
  plainTerminal,  // both go to the program inside, as in xterm
};

/// A terminal by its window class (WM_CLASS, second part). Nothing for a class that is not known.
std::optional<FocusedProgram> terminalOfClass(std::string_view windowClass);

/// A key press with the modifiers that it means to an X program.
struct Shortcut {
  std::uint16_t keyCode = 0;
  std::uint64_t flags = 0;

  bool operator==(const Shortcut&) const = default;
};

/// Translates a key press of a Mac's keyboard. Only Command and, beside editing keys, Option mean something
/// else here; docs/platform-linux.md has the table. Nothing for a shortcut that the program would take for
/// something else, such as an interrupt.
std::optional<Shortcut> shortcutFor(std::uint16_t keyCode, std::uint64_t flags, FocusedProgram program);

/// The flags of a click or a scroll: Command means Control.
std::uint64_t pointerFlagsFor(std::uint64_t flags);

}  // namespace quorl
