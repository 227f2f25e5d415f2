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

/// The terminal modes that the programs of a session have changed: alternate screen, mouse reports, hidden
/// cursor, bracketed paste, colours, title and others. With them a terminal that leaves in the middle can be
/// restored, and one that joins later can be set up. The screen's content is not tracked. Plain output costs
/// little more than a search for escape characters.
///
/// *Queue*: one at a time. *Ownership*: a value.
class TerminalModes {
 public:
  void follow(ByteView output);

  bool isInAlternateScreen() const;
  /// The bytes that undo all changes except the title. They also end a sequence that was cut.
  Bytes restoring() const;
  /// The bytes that make all changes on a restored terminal; empty if there are none. Setting a scroll region
  /// moves the cursor, so these bytes go before the text.
  Bytes setting() const;
  /// The bytes that bring a new value into the same state, an unfinished sequence included.
  Bytes recreating() const;

  bool hasTitle() const { return title_.has_value(); }
  /// The number of bytes at the end of the output that begin an unfinished sequence.
  std::size_t unfinishedSize() const { return cut_.size(); }

 private:
  void take(const TerminalItem& item);
  void takeControlSequence(const TerminalItem& item);
  void takePrivateModes(std::string_view parameters, bool isSet);
  void takeTitle(std::string_view text);
  void takeColours(std::string_view parameters);
  void reset();

  std::map<int, bool> privateModes_;  // by number, with the last state
  int keyboardLevels_ = 0;            // pushed and not yet popped
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
  std::string colours_;  // everything set since the last reset, in order
  std::optional<std::string> title_;
  Bytes cut_;  // the beginning of an unfinished sequence
};

}  // namespace quorl
