// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Ports/Sound.h>

namespace quorl {

/// AAC-LC by libavcodec. Input of any rate, up to eight channels and either sample type is converted by
/// libswresample; samples beyond full scale are clipped, as a sound card does, and NaN becomes zero.
///
/// A packet codes 1024 samples together with the 1024 before them (ISO/IEC 14496-3, 4.6.11), so the first
/// packet decodes to 1024 samples of silence before the first captured one. The encoder gives each packet one
/// frame after its last sample, and none at the end.
///
/// *Queue*: `make` may be called from any thread. *Lifetime*: compressors may outlive the factory.
std::shared_ptr<SoundCompressorFactory> makeAACCompressors();

}  // namespace quorl
