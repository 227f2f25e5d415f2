// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/Models.h>

namespace quorl::client {

/// Which codec a decoder configuration record is for: AVCDecoderConfigurationRecord (ISO/IEC
/// 14496-15, 5.3.3.1) or HEVCDecoderConfigurationRecord (8.3.3.1). The wire does not name the codec, and a
/// host may answer a request for HEVC with H.264, so the record itself decides. Nothing for other bytes.
std::optional<VideoCodec> codecOfConfigRecord(ByteView record);

}  // namespace quorl::client
