// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// AudioSpecificConfig of AAC-LC (ISO/IEC 14496-3, 1.6.2.1): 5 bits object type 2, 4 bits frequency index,
/// 4 bits channel configuration, 3 zero bits. A rate outside the standard's table is written as 48000.
Bytes audioSpecificConfig(double sampleRate, int channels);

}  // namespace quorl
