// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Registry/StableUUID.h>

#include <cstddef>
#include <cstdint>

namespace quorl {

UUID stableUUID(std::string_view from) {
  constexpr std::uint64_t fnvPrime = 0x100000001B3;
  constexpr std::uint64_t goldenRatio = 0x9E3779B97F4A7C15;
  // FNV-1a (draft-eastlake-fnv), then a multiplicative hash with another step and start.
  std::uint64_t first = 0xCBF29CE484222325;
  std::uint64_t second = goldenRatio;
  for (const char character : from) {
    const auto byte = static_cast<std::uint8_t>(character);
    first = (first ^ byte) * fnvPrime;
    second = (second + byte) * goldenRatio;
  }
  UUID id;
  for (std::size_t i = 0; i < 8; ++i) {
    const std::size_t shift = 8 * (7 - i);
    id.bytes[i] = static_cast<std::uint8_t>(first >> shift);
    id.bytes[8 + i] = static_cast<std::uint8_t>(second >> shift);
  }
  return id;
}

}  // namespace quorl
