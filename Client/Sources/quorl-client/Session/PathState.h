// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <optional>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

/// The kernel's measurements of a connection.
struct PathState {
  Clock::duration roundTrip{};
  Clock::duration shortestRoundTrip{};  // of the last five minutes
  std::size_t bytesUnderWay = 0;        // handed to the kernel and not yet acknowledged
};

/// By TCP_INFO and SIOCOUTQ, see tcp(7). Nothing for a descriptor that is not a TCP socket.
std::optional<PathState> pathStateOf(int descriptor);

}  // namespace quorl::client
