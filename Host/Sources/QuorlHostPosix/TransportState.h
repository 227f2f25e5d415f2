// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>

namespace quorl {

/// The kernel's state of a TCP connection. Each system implements these functions.
struct TransportState {
  std::size_t unacknowledged = 0;                 // bytes written and not acknowledged by the peer
  std::chrono::microseconds shortestRoundTrip{};  // zero until one is measured
};

/// Nothing for a socket that has ended.
std::optional<TransportState> readTransport(int descriptor);

/// The kernel takes no more bytes, and does not report the socket as writable, while more than this many have
/// not been sent yet.
void setUnsentLimit(int descriptor, std::size_t bytes);

}  // namespace quorl
