// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct VTerm;
struct VTermScreen;

namespace quorl::client::test {

/// Screen, cursor and modes of a terminal after the given bytes, from an independent terminal emulator.
///
/// *Queue*: the test's thread.
class TerminalEmulator {
 public:
  explicit TerminalEmulator(int columns = 100, int rows = 30);
  TerminalEmulator(const TerminalEmulator&) = delete;
  TerminalEmulator& operator=(const TerminalEmulator&) = delete;
  ~TerminalEmulator();

  void feed(std::string_view bytes);

  /// The lines without trailing blanks.
  std::vector<std::string> lines() const;
  std::string line(int row) const { return lines().at(static_cast<std::size_t>(row)); }
  /// Row and column, from 0.
  std::pair<int, int> cursor() const;
  bool isAlternate() const { return isAlternate_; }
  bool reportsMouse() const { return mouse_ != 0; }
  bool isCursorVisible() const { return isCursorVisible_; }
  /// The bytes that the terminal sends for the key, and before pasted text.
  std::string arrowUp();
  std::string pasteBegin();

 private:
  friend struct EmulatorCallbacks;
  std::string takeAnswers();

  const int columns_;
  const int rows_;
  VTerm* terminal_;
  VTermScreen* screen_;
  bool isAlternate_ = false;
  bool isCursorVisible_ = true;
  int mouse_ = 0;
};

}  // namespace quorl::client::test
