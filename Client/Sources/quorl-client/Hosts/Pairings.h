// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

#include <quorl-client/Hosts/HostBook.h>
#include <quorl-client/Session/Handshake.h>

namespace quorl::client {

/// Six digits.
bool isPIN(std::string_view text);

/// Writes a new pairing into the book; it takes the place of one with the same host or the same address.
Outcome<PairedHost> keepPairing(HostBook& book, const HostAddress& address, Paired paired);

}  // namespace quorl::client
