// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlHostCore/Display/VideoEncoder.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// What a client's configuration means for the capture and the encoder. Any values give valid settings; the
/// encoder limits the quality itself.

/// At least a second's thousandth, at most a second.
Duration frameIntervalFor(const StreamConfig& config);
CaptureSettings captureSettingsFor(const StreamConfig& config, PixelSize size);
VideoEncoder::Parameters encoderParametersFor(const StreamConfig& config, PixelSize size);

}  // namespace quorl
