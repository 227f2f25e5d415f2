// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Sound/AudioSpecificConfig.h>

#include <algorithm>
#include <array>

namespace quorl {

namespace {

constexpr std::array<double, 13> frequencies{96'000, 88'200, 64'000, 48'000, 44'100, 32'000, 24'000,
                                             22'050, 16'000, 12'000, 11'025, 8'000,  7'350};
constexpr std::uint8_t indexOf48000 = 3;
constexpr std::uint8_t lowComplexity = 2 << 3;  // the object type in the upper 5 bits

}  // namespace

Bytes audioSpecificConfig(double sampleRate, int channels) {
  const auto found = std::ranges::find(frequencies, sampleRate);
  const auto index =
      found == frequencies.end() ? indexOf48000 : static_cast<std::uint8_t>(found - frequencies.begin());
  return {static_cast<std::uint8_t>(lowComplexity | index >> 1),
          static_cast<std::uint8_t>((index & 1) << 7 | (channels & 15) << 3)};
}

}  // namespace quorl
