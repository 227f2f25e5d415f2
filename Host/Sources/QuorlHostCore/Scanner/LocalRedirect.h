// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorl {

bool isRedirect(int status);

/// The path and query to request next if `location` (RFC 3986) leads to the same server: `http` on 127.0.0.1
/// or localhost with this port, or relative to `path`. Nothing for any other server, for `path` itself and
/// for text that does not belong in a request line.
std::optional<std::string> localRedirect(std::string_view location, std::string_view path,
                                         std::uint16_t port);

}  // namespace quorl
