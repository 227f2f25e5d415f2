// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/NalUnits.h>

namespace quorl {

namespace {

constexpr std::size_t lengthSize = 4;
constexpr int longestExpGolombPrefix = 31;

}  // namespace

std::vector<ByteView> lengthPrefixedNalUnits(ByteView bytes) {
  std::vector<ByteView> units;
  while (bytes.size() >= lengthSize) {
    const std::size_t length = (static_cast<std::size_t>(bytes[0]) << 24) |
                               (static_cast<std::size_t>(bytes[1]) << 16) |
                               (static_cast<std::size_t>(bytes[2]) << 8) | bytes[3];
    bytes = bytes.subspan(lengthSize);
    if (length > bytes.size()) break;
    units.push_back(bytes.first(length));
    bytes = bytes.subspan(length);
  }
  return units;
}

Bytes withoutEmulationPrevention(ByteView nalUnit) {
  Bytes payload;
  payload.reserve(nalUnit.size());
  int zeros = 0;
  for (const std::uint8_t byte : nalUnit) {
    if (zeros >= 2 && byte == 3) {
      zeros = 0;
      continue;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    payload.push_back(byte);
  }
  return payload;
}

std::uint32_t BitReader::bits(int count) {
  std::uint32_t value = 0;
  for (int read = 0; read < count; ++read, ++position_) {
    const std::size_t index = position_ / 8;
    const std::uint32_t bit = index < bytes_.size() ? (bytes_[index] >> (7 - position_ % 8)) & 1U : 0U;
    value = (value << 1) | bit;
  }
  return value;
}

std::uint32_t BitReader::unsignedExpGolomb() {
  int zeros = 0;
  while (zeros < longestExpGolombPrefix && !flag()) ++zeros;
  if (zeros == 0) return 0;
  return (1U << zeros) - 1 + bits(zeros);
}

}  // namespace quorl
