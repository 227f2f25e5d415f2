// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>

#include <QuorlHostCore/Ports/SystemPower.h>

namespace quorl {

/// The volume of the default output of the sound server (PulseAudio's native protocol, which PipeWire's
/// server speaks too). A volume above 0 also ends muting. The balance of the channels stays.
///
/// *Queue*: that of the port. *Blocking*: for `limit` at most.
/// *Ownership*: connects for each change; there is no connection in between.
class PulseVolume final : public OutputVolume {
 public:
  explicit PulseVolume(std::chrono::milliseconds limit = std::chrono::seconds(3)) : limit_(limit) {}
  SystemResult setVolume(int percent) override;

 private:
  const std::chrono::milliseconds limit_;
};

}  // namespace quorl
