// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <optional>

#include <QuorlHostCore/Ports/Network.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// A socket on its way to a peer.
struct ConnectAttempt {
  enum class Stage : std::uint8_t { underWay, established };

  Descriptor socket;
  Stage stage = Stage::underWay;
};

/// Begins to connect without waiting. `peer` is numeric. While the attempt is under way the socket becomes
/// writable at its end.
std::expected<ConnectAttempt, PortError> beginConnecting(const HostPort& peer);

/// Why an attempt whose socket has become writable has failed, if it has.
std::optional<PortError> connectFailure(int descriptor);

}  // namespace quorl
