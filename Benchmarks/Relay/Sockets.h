// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace quorl::bench {

enum class Mode : std::uint8_t { blocking, nonBlocking };

/// A connected socket on the loopback interface; ends the program if there is no listener.
int connectTo(std::uint16_t port, Mode mode);

/// A listening socket on the loopback interface.
int listenOn(std::uint16_t port);

}  // namespace quorl::bench
