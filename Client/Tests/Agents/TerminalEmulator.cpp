// SPDX-License-Identifier: GPL-3.0-or-later
#include "TerminalEmulator.h"

#include <vterm.h>

#include <array>

namespace quorl::client::test {

struct EmulatorCallbacks {
  static int changeProperty(VTermProp property, VTermValue* value, void* user) {
    auto& self = *static_cast<TerminalEmulator*>(user);
    if (property == VTERM_PROP_ALTSCREEN) self.isAlternate_ = value->boolean != 0;
    if (property == VTERM_PROP_CURSORVISIBLE) self.isCursorVisible_ = value->boolean != 0;
    if (property == VTERM_PROP_MOUSE) self.mouse_ = value->number;
    return 1;
  }
};

TerminalEmulator::TerminalEmulator(int columns, int rows)
    : columns_(columns),
      rows_(rows),
      terminal_(::vterm_new(rows, columns)),
      screen_(::vterm_obtain_screen(terminal_)) {
  static const VTermScreenCallbacks callbacks = [] {
    VTermScreenCallbacks made{};
    made.settermprop = EmulatorCallbacks::changeProperty;
    return made;
  }();
  ::vterm_set_utf8(terminal_, 1);
  ::vterm_screen_enable_altscreen(screen_, 1);
  ::vterm_screen_set_callbacks(screen_, &callbacks, this);
  ::vterm_screen_reset(screen_, 1);
}

TerminalEmulator::~TerminalEmulator() {
  ::vterm_free(terminal_);
}

void TerminalEmulator::feed(std::string_view bytes) {
  ::vterm_input_write(terminal_, bytes.data(), bytes.size());
  takeAnswers();
}

std::vector<std::string> TerminalEmulator::lines() const {
  std::vector<std::string> lines;
  for (int row = 0; row < rows_; ++row) {
    std::array<char, 4096> text{};
    const VTermRect rectangle{.start_row = row, .end_row = row + 1, .start_col = 0, .end_col = columns_};
    const auto size = ::vterm_screen_get_text(screen_, text.data(), text.size(), rectangle);
    std::string line(text.data(), size);
    line.erase(line.find_last_not_of(" \n") + 1);
    lines.push_back(std::move(line));
  }
  return lines;
}

std::pair<int, int> TerminalEmulator::cursor() const {
  VTermPos position{};
  ::vterm_state_get_cursorpos(::vterm_obtain_state(terminal_), &position);
  return {position.row, position.col};
}

std::string TerminalEmulator::takeAnswers() {
  std::string answers;
  std::array<char, 256> buffer{};
  while (const auto size = ::vterm_output_read(terminal_, buffer.data(), buffer.size()))
    answers.append(buffer.data(), size);
  return answers;
}

std::string TerminalEmulator::arrowUp() {
  ::vterm_keyboard_key(terminal_, VTERM_KEY_UP, VTERM_MOD_NONE);
  return takeAnswers();
}

std::string TerminalEmulator::pasteBegin() {
  ::vterm_keyboard_start_paste(terminal_);
  return takeAnswers();
}

}  // namespace quorl::client::test
