// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string_view>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

// One piece of what a program writes to its terminal (ECMA-48, 5.3, 5.4 and 5.6).
struct TerminalItem {
  enum class Kind : std::uint8_t {
    text,       // a run of printable bytes
    control,    // one C0 control, or delete
    csi,        // ESC [ parameters intermediates final
    osc,        // ESC ] ... BEL or ST
    string,     // DCS, SOS, PM, APC ... ST
    escape,     // ESC intermediates final; also what began otherwise and was broken off
    incomplete  // the bytes end inside it
  };

  Kind kind = Kind::incomplete;
  ByteView whole;
  std::string_view parameters;  // of csi: between the bracket and the final byte; of osc and string: the text
  char final = 0;               // of csi and escape; of string its second byte
};

// The item at the beginning of `bytes`, which are not empty.
TerminalItem nextTerminalItem(ByteView bytes);

// What a program wrote before, fit to be shown again: without what a terminal would answer (its answers
// would be typed into the program), ring for, or copy to the clipboard a second time.
Bytes fitForReplay(ByteView output);

}  // namespace quorl
