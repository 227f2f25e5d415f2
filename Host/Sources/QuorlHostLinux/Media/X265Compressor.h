// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <memory>

#include <QuorlHostCore/Ports/VideoCompressor.h>

namespace quorl {

/// HEVC by x265, in software. Fails with EINVAL for a size it cannot encode and with ENOMEM otherwise.
///
/// *Queue*: encodes on the caller's thread with a thread pool of its own, and outputs the picture before
/// `encode` returns.
std::expected<std::unique_ptr<VideoCompressor>, PortError> makeX265Compressor(
    const CompressorSpecification& specification, VideoCompressor::Output output);

}  // namespace quorl
