// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quorl {

class SecureRandom;

/// A universally unique identifier (RFC 9562): 16 bytes in the order of the text.
struct UUID {
  std::array<std::uint8_t, 16> bytes{};

  /// The canonical 36 characters with hyphens, in either case; anything else gives nothing.
  static std::optional<UUID> parse(std::string_view text);
  /// Version 4: random, with the version and variant bits set.
  static UUID random(SecureRandom& source);
  static UUID random();

  /// Upper-case.
  std::string text() const;

  auto operator<=>(const UUID&) const = default;
};

}  // namespace quorl

template <>
struct std::hash<quorl::UUID> {
  std::size_t operator()(const quorl::UUID& id) const noexcept {
    std::array<std::uint64_t, 2> halves;
    std::memcpy(halves.data(), id.bytes.data(), id.bytes.size());
    return static_cast<std::size_t>(halves[0] * 0x9E3779B97F4A7C15ULL ^ halves[1]);
  }
};
