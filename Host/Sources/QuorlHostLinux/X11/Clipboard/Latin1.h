// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

// Text of the target STRING (ISO 8859-1). Pure.

Bytes utf8FromLatin1(ByteView latin1);
/// Writes a question mark for each character that ISO 8859-1 lacks and for each byte that is not UTF-8.
Bytes latin1FromUTF8(ByteView utf8);

}  // namespace quorl
