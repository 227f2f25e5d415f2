// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <span>

#include <QuorlHostCore/Ports/VideoCompressor.h>
#include <QuorlHostLinux/Media/EncodingPace.h>
#include <QuorlHostLinux/Media/VideoBackends.h>

namespace quorl {

/// The encoders of this machine. A stream uses the first encoder of its codec that can be made.
///
/// *Queue*: `make` may be called from any thread. *Blocking*: may measure an encoder for some 200 ms.
/// *Ownership*: shared.
/// *Lifetime*: encoders may outlive it.
std::shared_ptr<VideoCompressorFactory> makeLinuxVideoCompressors();

/// The same with another table and clock.
std::shared_ptr<VideoCompressorFactory> makeVideoCompressors(std::span<const VideoBackend> backends,
                                                             EncodingPace::Now now);

}  // namespace quorl
