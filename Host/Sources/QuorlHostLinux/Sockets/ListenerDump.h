// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <expected>
#include <vector>

#include <QuorlHostCore/Ports/ListeningSockets.h>
#include <QuorlHostCore/Ports/PortError.h>

namespace quorl {

/// A listening TCP socket as the kernel describes it.
struct KernelListener {
  std::uint16_t port = 0;
  bool isIPv6 = false;
  std::array<std::uint8_t, 16> address{};  // in network order; IPv4 uses the first four
  std::uint32_t user = 0;
  std::uint64_t inode = 0;   // 0 for a socket without a file, such as one of the kernel's
  std::uint64_t cookie = 0;  // never used twice
};

/// The listening TCP sockets of this network namespace, IPv4 then IPv6, by NETLINK_SOCK_DIAG (Linux manual,
/// sock_diag(7)). Fails if the kernel lacks it or refuses.
std::expected<std::vector<KernelListener>, PortError> dumpListeners();

/// How lsof prints the address: IPv4 mapped into IPv6 as IPv4, and :: as *, whether or not the socket takes
/// IPv4 as well.
ListeningSocket::Reach reachOf(const KernelListener& listener);

}  // namespace quorl
