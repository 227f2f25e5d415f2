// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

#include <sys/socket.h>

namespace quorl {

template <class Value>
void setSocketOption(int descriptor, int level, int name, Value value) {
  // A kernel that lacks one of these serves the session all the same.
  ::setsockopt(descriptor, level, name, &value, sizeof value);
}

/// No delay of small frames, and a peer that has vanished is noticed within a minute.
void configureSessionSocket(int descriptor);

/// What the kernel knows of bytes that were given to it.
struct Unacknowledged {
  std::size_t bytes = 0;           // neither acknowledged nor, maybe, sent
  std::uint32_t inFlight = 0;      // segments sent and not acknowledged
  std::uint32_t silentProbes = 0;  // questions for a larger window since the last answer
};

/// How long the peer may leave what was sent to it without an answer, in milliseconds; 0: as long as the
/// system's own rule allows.
unsigned userTimeoutFor(const Unacknowledged& state);

/// To be called every few seconds while bytes are on their way: lets a peer that does not read for a long
/// time stay. Says whether any still are.
bool reviewUserTimeout(int descriptor);

}  // namespace quorl
