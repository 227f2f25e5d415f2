// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include <QuorlHostCore/Ports/NetworkInterfaces.h>

namespace quorl {

/// The addresses under which the LAN reaches this machine, as text, each once, in their order. Without those
/// of the loopback (127.0.0.0/8), link-local ones (169.254.0.0/16) and those of overlays and carriers
/// (100.64.0.0/10).
std::vector<std::string> lanAddresses(const std::vector<InterfaceAddress>& addresses);

}  // namespace quorl
