// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

#include <QuorlKit/Foundation/SecretText.h>
#include <quorl-client/Commands/CommandContext.h>

namespace quorl::client {

/// Asks for a password and reads one line of input. A terminal does not echo it.
Outcome<SecretText> askPassword(CommandContext& context, std::string_view prompt);

}  // namespace quorl::client
