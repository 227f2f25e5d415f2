// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl {

/// The encoders of this machine, one kind for each codec, chosen once.
///
/// *Queue*: `make` may be called from any thread. *Ownership*: shared. *Lifetime*: encoders outlive it
/// freely.
std::shared_ptr<VideoCompressorFactory> makeLinuxVideoCompressors();

}  // namespace quorl
