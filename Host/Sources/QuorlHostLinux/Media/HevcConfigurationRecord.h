// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// The HEVCDecoderConfigurationRecord ("hvcC", ISO/IEC 14496-15, 8.3.3.1) of a stream with 4-byte lengths
/// whose parameter sets all stand in the record, from its NAL units without lengths; other units are passed
/// over. Nothing without a VPS, an SPS and a PPS, or when the SPS cannot be read.
///
///   offset  size  field
///   0       1     1, the version
///   1       12    profile, tier and level, from the SPS
///   13      2     0xF000 | minimum spatial segmentation, 0
///   15      1     0xFC | kind of parallel decoding, 0
///   16      1     0xFC | chroma format
///   17      2     0xF8 | luma depth - 8, 0xF8 | chroma depth - 8
///   19      2     average frame rate, 0
///   21      1     temporal layers << 3 | nested << 2 | 3, the length's size less one
///   22      1     count of arrays; each: 0x80 | type, 16-bit count, then each unit behind its 16-bit length
std::optional<Bytes> hevcConfigurationRecord(const std::vector<ByteView>& nalUnits);

}  // namespace quorl
