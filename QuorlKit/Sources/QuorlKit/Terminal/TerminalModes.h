// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

#include <QuorlKit/Terminal/EscapeSequences.h>

namespace quorl {

// Which of a terminal's modes the programs of a session have changed, so that a terminal that leaves in the
// middle can be set back, and one that comes later be given them: the alternate screen, mouse reports, a
// hidden cursor, bracketed paste, colours, the title and the like. What is on the screen is not followed. A
// flood costs little more than looking for escape characters. Queue: one at a time. Ownership: a value.
class TerminalModes {
 public:
  void follow(ByteView output);

  bool isInAlternateScreen() const;
  // What sets everything back that was changed, but for the title; ends a sequence that was cut.
  Bytes restoring() const;
  // What gives a terminal that was just set back all that was changed; empty where nothing was. The cursor
  // is where a scroll region leaves it: this goes before the text that the modes are for.
  Bytes setting() const;

  bool hasTitle() const { return title_.has_value(); }
  // How many bytes at the end of what was followed are the beginning of a sequence whose rest has not come.
  std::size_t unfinishedSize() const { return cut_.size(); }

 private:
  void take(const TerminalItem& item);
  void takeControlSequence(const TerminalItem& item);
  void takePrivateModes(std::string_view parameters, bool isSet);
  void takeTitle(std::string_view text);
  void takeColours(std::string_view parameters);
  void reset();

  std::map<int, bool> privateModes_;  // by number; as they were set last
  int keyboardLevels_ = 0;            // pushed and not popped
  std::string keyboardFlags_;         // of the last push
  bool hasKeyboardFlags_ = false;
  bool namesOtherKeys_ = false;
  bool insertsCharacters_ = false;
  bool hasApplicationKeypad_ = false;
  std::string scrollRegion_;  // parameters; empty: the whole screen
  std::string cursorShape_;
  bool hasCharacterSet_ = false;
  std::array<char, 2> characterSets_{'B', 'B'};  // G0 and G1, by their final bytes
  bool isShiftedOut_ = false;
  std::string colours_;  // all that was set since the last reset, in order
  std::optional<std::string> title_;
  Bytes cut_;  // the beginning of a sequence whose rest has not come
};

}  // namespace quorl
