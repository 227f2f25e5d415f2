// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace quorl {

/// Whether a variable says something of the terminal or the service that this process was started from, which
/// is wrong for a program on a terminal of its own.
bool belongsToOwnTerminal(std::string_view name);

/// Takes those variables out of this process's environment, so that agents and applications do not inherit
/// them. Before any other thread runs.
void forgetOwnTerminal();

}  // namespace quorl
