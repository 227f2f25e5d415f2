// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorl {

/// Scheme, host and port of a web service's URL (RFC 3986).
///
/// Own code, because Boost.URL 1.81 does not reject a damaged authority: it reads port 80 from "http://h:80a"
/// and host "b" from "http://a@b@c". It also knows no zone in an IPv6 address.
struct ServiceURL {
  std::string scheme;  // as written; may be empty
  std::string host;    // as written, an IPv6 address without its brackets; never empty
  std::optional<std::uint64_t> port;

  /// Nothing if the text is not a URI reference or names no host.
  static std::optional<ServiceURL> parse(std::string_view text);

  bool operator==(const ServiceURL&) const = default;
};

}  // namespace quorl
