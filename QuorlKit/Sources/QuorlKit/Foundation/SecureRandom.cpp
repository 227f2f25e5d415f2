// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/SecureRandom.h>

#include <array>
#include <cstring>
#include <limits>

#include <openssl/rand.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

std::uint32_t SecureRandom::uniform(std::uint32_t upperBoundExclusive) {
  QUORL_CHECK(upperBoundExclusive > 0, "a range of numbers is not empty");
  // Draws below 2^32 modulo the bound are refused: what is left is a whole multiple of the bound.
  const std::uint32_t refused = (0U - upperBoundExclusive) % upperBoundExclusive;
  for (;;) {
    std::array<std::uint8_t, 4> drawn{};
    fill(drawn);
    std::uint32_t value = 0;
    std::memcpy(&value, drawn.data(), drawn.size());
    if (value >= refused) return value % upperBoundExclusive;
  }
}

void SystemSecureRandom::fill(std::span<std::uint8_t> out) {
  while (!out.empty()) {
    const std::size_t count = std::min<std::size_t>(out.size(), std::numeric_limits<int>::max());
    QUORL_CHECK(RAND_bytes(out.data(), static_cast<int>(count)) == 1, "the system gives random bytes");
    out = out.subspan(count);
  }
}

SystemSecureRandom& SystemSecureRandom::shared() {
  static SystemSecureRandom source;
  return source;
}

}  // namespace quorl
