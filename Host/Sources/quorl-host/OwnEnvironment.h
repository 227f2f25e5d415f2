// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace quorl {

/// Whether a variable describes the terminal or service that started this process. It would be wrong for a
/// program on another terminal.
bool belongsToOwnTerminal(std::string_view name);

/// Removes these variables from this process's environment, so that agents and applications do not inherit
/// them. Called before any other thread runs.
void forgetOwnTerminal();

}  // namespace quorl
