// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Foundation/SecureRandom.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

#include <openssl/rand.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

std::uint32_t SecureRandom::uniform(std::uint32_t upperBoundExclusive) {
  QUORL_CHECK(upperBoundExclusive > 0, "a range of numbers is not empty");
  // Draws above the largest multiple of the bound are rejected: they would favour low values.
  const std::uint64_t range = std::uint64_t{1} << 32;
  const std::uint64_t limit = range - range % upperBoundExclusive;
  for (;;) {
    std::array<std::uint8_t, 4> drawn{};
    fill(drawn);
    std::uint32_t value = 0;
    std::memcpy(&value, drawn.data(), drawn.size());
    if (value < limit) return value % upperBoundExclusive;
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
