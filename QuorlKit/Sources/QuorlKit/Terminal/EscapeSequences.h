// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// One piece of the output of a terminal program (ECMA-48, 5.3, 5.4 and 5.6).
struct TerminalItem {
  enum class Kind : std::uint8_t {
    text,       // a run of printable bytes
    control,    // one C0 control, or delete
    csi,        // ESC [ parameters intermediates final
    osc,        // ESC ] ... BEL or ST
    string,     // DCS, SOS, PM, APC ... ST
    escape,     // ESC intermediates final; also any sequence that was broken off
    incomplete  // the bytes end inside it
  };

  Kind kind = Kind::incomplete;
  ByteView whole;
  std::string_view parameters;  // of csi: between the bracket and the final byte; of osc and string: the text
  char final = 0;               // of csi and escape; of string its second byte
};

/// The item at the beginning of `bytes`, which must not be empty.
TerminalItem nextTerminalItem(ByteView bytes);

/// Earlier output without the sequences that must not act a second time: queries (the terminal's answers
/// would be typed into the program), the bell, notifications and clipboard writes.
Bytes fitForReplay(ByteView output);

}  // namespace quorl
