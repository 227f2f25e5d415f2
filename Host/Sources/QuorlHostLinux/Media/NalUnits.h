// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// The NAL units, without their lengths, of a buffer in which each follows its 4-byte big-endian length
/// (ISO/IEC 14496-15). A length that exceeds the buffer ends the list.
std::vector<ByteView> lengthPrefixedNalUnits(ByteView bytes);

/// The payload without its emulation prevention bytes: 00 00 03 becomes 00 00 (ISO/IEC 14496-10, 7.4.1 and
/// 23008-2, 7.4.2).
Bytes withoutEmulationPrevention(ByteView nalUnit);

/// Reads bits, the most significant first, with the Exp-Golomb codes of both standards (clause 9). Past the
/// end it reads zeros and `isExhausted` becomes true.
class BitReader {
 public:
  explicit BitReader(ByteView bytes) : bytes_(bytes) {}

  std::uint32_t bits(int count);  // at most 32
  bool flag() { return bits(1) != 0; }
  std::uint32_t unsignedExpGolomb();
  void skip(std::size_t count) { position_ += count; }
  bool isExhausted() const { return position_ > bytes_.size() * 8; }

 private:
  ByteView bytes_;
  std::size_t position_ = 0;  // in bits
};

}  // namespace quorl
