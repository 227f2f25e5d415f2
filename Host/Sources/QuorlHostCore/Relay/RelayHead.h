// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include <QuorlHostCore/Relay/RelayTokens.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// The ports that a request may reach at this moment.
using AllowedPorts = std::function<std::set<std::uint16_t>()>;

/// A request that may pass, as the backend gets it.
struct RelayRequest {
  std::string method;
  std::uint16_t port = 0;
  std::string tail;                   // the target without its "/p/<port>"
  std::string head;                   // UTF-8, with the terminator
  std::optional<std::string> cookie;  // a header line for the response, without its line end

  bool operator==(const RelayRequest&) const = default;
};

/// Why a request does not pass.
struct RelayRejection {
  std::string_view status;
  std::optional<std::uint16_t> refusedPort;  // not in the list

  bool operator==(const RelayRejection&) const = default;
};

namespace RelayHead {

inline constexpr std::string_view badRequest = "400 Bad Request";
inline constexpr std::string_view forbidden = "403 Forbidden";
inline constexpr std::string_view notFound = "404 Not Found";
inline constexpr std::string_view tooLarge = "431 Request Header Fields Too Large";

/// Checks and rewrites a request head, terminator included. The token is checked before anything about
/// ports. `allowedPorts` is called at most once, for an authorized request with a port.
std::expected<RelayRequest, RelayRejection> decide(ByteView head, const RelayTokens& tokens,
                                                   const AllowedPorts& allowedPorts);

/// A "Cookie" line without this host's cookie, or nothing if no other is left. A line without a colon is
/// returned unchanged.
std::optional<std::string> strippingQuorlToken(std::string_view line);

}  // namespace RelayHead

}  // namespace quorl
