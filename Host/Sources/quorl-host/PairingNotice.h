// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlKit/Models/NetworkModels.h>

namespace quorl {

/// How to pair with a host that has no window: the PIN, the addresses and the client's command. Pure.
std::string pairingNotice(const std::string& pin, const NetworkStatus& status, std::uint16_t port);

/// Writes the notice to standard error when the addresses are known, and every new PIN, if standard error is
/// a terminal. Otherwise nothing: the journal or a file would keep the PIN for others to read. Called once.
void showPairingOnTerminal(const HostRuntime& runtime);

}  // namespace quorl
