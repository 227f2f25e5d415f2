// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// The AVCDecoderConfigurationRecord ("avcC", ISO/IEC 14496-15, 5.3.3.1) of a stream with 4-byte lengths,
/// from its NAL units without lengths. Units other than parameter sets are ignored. Nothing without an SPS
/// and a PPS, or when the SPS cannot be read.
///
/// The fields, with their sizes in bytes:
/// - 1: the version, 1
/// - 3: profile, compatibility flags and level, from the SPS
/// - 1: 0xFC | 3, the size of a length less one
/// - 1: 0xE0 | count of SPS, then each SPS after its 16-bit length
/// - 1: count of PPS, then each PPS after its 16-bit length
/// - 4, only for the High profiles: 0xFC | chroma format; 0xF8 | luma depth - 8; 0xF8 | chroma depth - 8;
///   0, the count of SPS extensions
std::optional<Bytes> avcConfigurationRecord(const std::vector<ByteView>& nalUnits);

}  // namespace quorl
