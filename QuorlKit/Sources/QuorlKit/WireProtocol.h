// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string_view>

/// Constants of the protocol between a host and its clients.
namespace quorl::WireProtocol {

/// Sent in `Hello` and `HelloAck`.
inline constexpr std::uint32_t version = 4;
inline constexpr std::uint16_t defaultPort = 47900;
/// DNS-SD service type (RFC 6763, 4.1.2).
inline constexpr std::string_view bonjourType = "_quorl._tcp";
/// The largest payload of a frame in bytes, without the header.
inline constexpr std::uint32_t maxFrameLength = 0x2000000;

}  // namespace quorl::WireProtocol
