// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>
#include <vector>

#include <QuorlHostCore/Ports/ListeningSockets.h>

namespace quorl {

/// Reads the output of `lsof -nP -iTCP -sTCP:LISTEN`: a header line, then one line a socket with the columns
/// COMMAND PID USER FD TYPE DEVICE SIZE/OFF NODE NAME. Lines that do not fit are left out. A command with
/// blanks shifts the columns; its line is left out or misread. Text that is not UTF-8 gives nothing.
std::vector<ListeningSocket> listeningSocketsIn(std::string_view lsofOutput);

}  // namespace quorl
