// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/Shortcuts.h>

#include <algorithm>
#include <array>
#include <cctype>

#include <QuorlHostCore/Ports/EventPoster.h>
#include <QuorlKit/Protocol/KeyCodes.h>

namespace quorl {

namespace {

using namespace eventFlags;

/// In which programs a row counts.
enum class In : std::uint8_t { all, allButTerminals, plainTerminals };

struct Row {
  std::uint16_t keyCode;
  std::uint64_t held;  // of Command, Option and Control, exactly these; Shift goes on as it is
  In programs;
  std::uint16_t meansKey;
  std::uint64_t means;
};

// Shortcuts that mean another key or another modifier than the general rule gives.
constexpr std::array rows{
    // The switcher of windows stays open while its modifier is held.
    Row{keyCode::tab, command, In::all, keyCode::tab, option},
    // To the ends of a line and of a document, and by words.
    Row{keyCode::leftArrow, command, In::all, keyCode::home, 0},
    Row{keyCode::rightArrow, command, In::all, keyCode::end, 0},
    Row{keyCode::upArrow, command, In::allButTerminals, keyCode::home, control},
    Row{keyCode::downArrow, command, In::allButTerminals, keyCode::end, control},
    Row{keyCode::leftArrow, option, In::all, keyCode::leftArrow, control},
    Row{keyCode::rightArrow, option, In::all, keyCode::rightArrow, control},
    Row{keyCode::backspace, option, In::allButTerminals, keyCode::backspace, control},
    Row{keyCode::forwardDelete, option, In::allButTerminals, keyCode::forwardDelete, control},
    // The one shortcut of xterm for pasting.
    Row{keyCode::letterV, command, In::plainTerminals, keyCode::insert, shift},
};

bool counts(In programs, FocusedProgram program) {
  switch (programs) {
    case In::all:
      return true;
    case In::allButTerminals:
      return program == FocusedProgram::ordinary;
    case In::plainTerminals:
      return program == FocusedProgram::plainTerminal;
  }
  return false;
}

constexpr std::array<std::string_view, 31> terminals{"alacritty",
                                                     "com.mitchellh.ghostty",
                                                     "contour",
                                                     "cool-retro-term",
                                                     "deepin-terminal",
                                                     "foot",
                                                     "gnome-terminal",
                                                     "guake",
                                                     "hyper",
                                                     "kgx",
                                                     "kitty",
                                                     "konsole",
                                                     "lxterminal",
                                                     "mate-terminal",
                                                     "org.gnome.console",
                                                     "org.gnome.ptyxis",
                                                     "org.wezfurlong.wezterm",
                                                     "qterminal",
                                                     "roxterm",
                                                     "sakura",
                                                     "st",
                                                     "st-256color",
                                                     "terminator",
                                                     "terminology",
                                                     "tilda",
                                                     "tilix",
                                                     "wezterm",
                                                     "xfce4-terminal",
                                                     "yakuake",
                                                     "gnome-terminal-server",
                                                     "ptyxis"};
constexpr std::array<std::string_view, 8> plainTerminals{"xterm", "uxterm", "koi8rxterm", "urxvt",
                                                         "rxvt",  "eterm",  "aterm",      "mlterm"};

}  // namespace

std::optional<FocusedProgram> terminalOfClass(std::string_view windowClass) {
  std::string lower(windowClass);
  std::ranges::transform(lower, lower.begin(), [](unsigned char letter) { return std::tolower(letter); });
  if (std::ranges::find(plainTerminals, lower) != plainTerminals.end()) return FocusedProgram::plainTerminal;
  if (std::ranges::find(terminals, lower) != terminals.end()) return FocusedProgram::terminal;
  return std::nullopt;
}

std::optional<Shortcut> shortcutFor(std::uint16_t keyCode, std::uint64_t flags, FocusedProgram program) {
  constexpr std::uint64_t changing = command | option | control;
  for (const auto& row : rows)
    if (row.keyCode == keyCode && row.held == (flags & changing) && counts(row.programs, program))
      return Shortcut{row.meansKey, (flags & ~changing) | row.means};
  if ((flags & command) == 0) return Shortcut{keyCode, flags};
  const std::uint64_t others = flags & ~command;
  switch (program) {
    case FocusedProgram::ordinary:
      return Shortcut{keyCode, others | control};
    case FocusedProgram::terminal:
      return Shortcut{keyCode, others | control | shift};
    case FocusedProgram::plainTerminal:
      return std::nullopt;
  }
  return std::nullopt;
}

std::uint64_t pointerFlagsFor(std::uint64_t flags) {
  return (flags & command) == 0 ? flags : (flags & ~command) | control;
}

}  // namespace quorl
