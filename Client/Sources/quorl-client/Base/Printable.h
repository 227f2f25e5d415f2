// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace quorl::client {

// Foreign text as a terminal may show it: control characters (C0, DEL, C1), marks that reorder text and bytes
// that are not UTF-8 are written as escapes, so that a window title cannot drive the terminal.
std::string printable(std::string_view text);

}  // namespace quorl::client
