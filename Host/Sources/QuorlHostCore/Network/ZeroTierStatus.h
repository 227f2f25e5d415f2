// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

/// What the JSON output of `zerotier-cli` says about this machine. Pure.
namespace quorl::ZeroTierStatus {

/// Whether `zerotier-cli -j info` reports a connection. Nothing if the output is no JSON object.
std::optional<bool> isOnline(ByteView infoOutput);

/// The addresses in all networks of `zerotier-cli -j listnetworks`, without the lengths of their prefixes.
/// Empty if the output is no JSON array of objects.
std::vector<std::string> addresses(ByteView networksOutput);

}  // namespace quorl::ZeroTierStatus
