// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include <sys/socket.h>

namespace quorl {

template <class Value>
void setSocketOption(int descriptor, int level, int name, Value value) {
  // The session also works on a kernel that lacks one of these.
  ::setsockopt(descriptor, level, name, &value, sizeof value);
}

/// Sends small frames without delay, and detects a vanished peer within a minute.
void configureSessionSocket(int descriptor);

/// Lets a listener accept a connection once its first bytes have come, or after about a second without any:
/// for protocols in which the peer speaks first. Without effect on a system that cannot do this.
void acceptOnlyWithInput(int listener);

/// The kernel's state of the bytes written to it.
struct Unacknowledged {
  std::size_t bytes = 0;           // not acknowledged, and possibly not sent
  std::uint32_t inFlight = 0;      // segments sent and not acknowledged
  std::uint32_t silentProbes = 0;  // window probes since the last answer
};

/// How long sent data may stay unacknowledged, in milliseconds; 0: the system's default.
unsigned userTimeoutFor(const Unacknowledged& state);

/// Called every few seconds while bytes are unacknowledged. Keeps a peer that does not read for a long time.
/// Returns whether any bytes are still unacknowledged.
bool reviewUserTimeout(int descriptor);

}  // namespace quorl
