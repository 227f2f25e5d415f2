// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace quorl::client {

/// Foreign text made safe for a terminal: control characters (C0, DEL, C1), marks that reorder text and bytes
/// that are not UTF-8 are escaped, so that a window title cannot control the terminal.
std::string printable(std::string_view text);

}  // namespace quorl::client
