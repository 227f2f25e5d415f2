// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorl {

/// Where a web service stands, by its URL.
struct ServiceURL {
  std::string scheme;  // as written; empty when there is none
  std::string host;    // as written, an IPv6 address without its brackets; never empty
  std::optional<std::uint64_t> port;

  /// Takes a URI reference apart (RFC 3986) as far as that goes. Nothing where the text is none or names no
  /// host.
  static std::optional<ServiceURL> parse(std::string_view text);

  bool operator==(const ServiceURL&) const = default;
};

}  // namespace quorl
