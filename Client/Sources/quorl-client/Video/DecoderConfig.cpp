// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Video/DecoderConfig.h>

namespace quorl::client {
namespace {

// Skips `count` parameter sets, each with a 16-bit big-endian length. Returns the offset after them, or
// nothing.
std::optional<std::size_t> skipParameterSets(ByteView record, std::size_t offset, std::size_t count) {
  for (; count > 0; --count) {
    if (offset + 2 > record.size()) return std::nullopt;
    const std::size_t length = static_cast<std::size_t>(record[offset]) << 8U | record[offset + 1];
    offset += 2 + length;
    if (length == 0 || offset > record.size()) return std::nullopt;
  }
  return offset;
}

// Bytes: version 1, profile, compatibility, level, 6 set bits and the length size, 3 set bits and the number
// of sequence parameter sets, the sets, the number of picture parameter sets, the sets.
bool isAVC(ByteView record) {
  if (record.size() < 9 || record[0] != 1 || (record[4] & 0xFCU) != 0xFCU) return false;
  const std::size_t sequenceSets = record[5] & 0x1FU;
  if (sequenceSets == 0 || (record[8] & 0x1FU) != 7) return false;
  const auto offset = skipParameterSets(record, 6, sequenceSets);
  if (!offset || *offset >= record.size()) return false;
  return skipParameterSets(record, *offset + 1, record[*offset]).has_value();
}

// 22 fixed bytes, among them reserved bits that are set, then the number of arrays of parameter sets, each of
// a type byte and a 16-bit count.
bool isHEVC(ByteView record) {
  if (record.size() < 23 || record[0] != 1) return false;
  if ((record[13] & 0xF0U) != 0xF0U || (record[15] & 0xFCU) != 0xFCU || (record[16] & 0xFCU) != 0xFCU)
    return false;
  std::optional<std::size_t> offset = 23;
  for (std::size_t arrays = record[22]; arrays > 0; --arrays) {
    if (*offset + 3 > record.size()) return false;
    const std::size_t count = static_cast<std::size_t>(record[*offset + 1]) << 8U | record[*offset + 2];
    offset = skipParameterSets(record, *offset + 3, count);
    if (!offset) return false;
  }
  return record[22] > 0;
}

}  // namespace

std::optional<VideoCodec> codecOfConfigRecord(ByteView record) {
  if (isAVC(record)) return VideoCodec::h264;
  if (isHEVC(record)) return VideoCodec::hevc;
  return std::nullopt;
}

}  // namespace quorl::client
