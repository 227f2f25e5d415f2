// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// The HEVCDecoderConfigurationRecord ("hvcC", ISO/IEC 14496-15, 8.3.3.1) of a stream with 4-byte lengths
/// that carries all parameter sets in the record, from its NAL units without lengths. Other units are
/// ignored. Nothing without a VPS, an SPS and a PPS, or when the SPS cannot be read.
///
/// The fields, with their sizes in bytes:
/// - 1: the version, 1
/// - 12: profile, tier and level, from the SPS
/// - 2: 0xF000 | minimum spatial segmentation, 0
/// - 1: 0xFC | type of parallel decoding, 0
/// - 1: 0xFC | chroma format
/// - 2: 0xF8 | luma depth - 8; 0xF8 | chroma depth - 8
/// - 2: average frame rate, 0
/// - 1: temporal layers << 3 | nested << 2 | 3, the size of a length less one
/// - 1: count of arrays; for each array 0x80 | type, a 16-bit count, then each unit after its 16-bit length
std::optional<Bytes> hevcConfigurationRecord(const std::vector<ByteView>& nalUnits);

}  // namespace quorl
