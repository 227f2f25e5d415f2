// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>

#include <QuorlKit/Foundation/ByteView.h>

#include "EscapeSequences.h"

namespace quorl::client {

// Which of a terminal's modes the programs of a session have changed, so that whoever leaves in the middle
// can set them back: the alternate screen, mouse reports, a hidden cursor, bracketed paste and the like.
// Output passes as it is; a flood costs little more than looking for escape characters.
// Queue: one at a time. Ownership: a value.
class TerminalModes {
 public:
  void follow(ByteView output);

  bool isInAlternateScreen() const;
  // What sets everything back that was changed; ends a sequence that was cut.
  Bytes restoring() const;

 private:
  void take(const TerminalItem& item);
  void takeControlSequence(const TerminalItem& item);
  void takePrivateModes(std::string_view parameters, bool isSet);
  void reset();

  std::map<int, bool> privateModes_;  // by number; as they were set last
  int keyboardLevels_ = 0;            // pushed and not popped
  bool hasKeyboardFlags_ = false;
  bool namesOtherKeys_ = false;
  bool insertsCharacters_ = false;
  bool hasApplicationKeypad_ = false;
  bool hasScrollRegion_ = false;
  bool hasCursorShape_ = false;
  bool hasCharacterSet_ = false;
  Bytes cut_;  // the beginning of a sequence whose rest has not come
};

}  // namespace quorl::client
