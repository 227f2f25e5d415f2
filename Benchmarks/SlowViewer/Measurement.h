// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <optional>

#include "../SlowLink/LimitedLink.h"
#include "../SlowLink/Motion.h"
#include "../SlowLink/Samples.h"
#include "../Support/Viewer.h"
#include "Keys.h"

namespace quorl::bench {

/// What a person at the viewer notices while the link stays as it is.
struct Noticed {
  Samples change;  // from a draw at the host to its pixel on the viewer's display
  Samples key;     // from a key at the viewer to the pixel that it changed at the host
  double linkUse = 0;
  double picturesPerSecond = 0;
};

class Measurement {
 public:
  struct Parts {
    LimitedLink& link;
    ProbeBlock& block;
    KeyBlock& keys;
    Finger& finger;
    Viewer& screen;  // the viewer's display
    Viewer& motion;  // the same; counts pictures of the motion
  };

  explicit Measurement(Parts parts) : parts_(parts) {}

  /// Changes and keys in turn, at random times.
  Noticed during(std::chrono::seconds duration);
  /// Gives the link a tenth of its rate, or nothing, for the duration. The time after it until a second
  /// begins in which pictures and use of the link reach 80 % of those before; nothing within 30 s.
  std::optional<double> secondsAfterThinLink(const Noticed& before, std::chrono::seconds duration);
  std::optional<double> secondsAfterStall(const Noticed& before, std::chrono::seconds duration);

 private:
  void change(Samples& samples);
  void press(Samples& samples);
  void await(Clock::time_point begin, Samples& samples);
  std::optional<double> awaitFullRate(const Noticed& before);

  Parts parts_;
};

}  // namespace quorl::bench
