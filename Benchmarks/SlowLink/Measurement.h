// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include "LimitedLink.h"
#include "LinkClient.h"
#include "Motion.h"
#include "Samples.h"

namespace quorl::bench {

/// While the motion runs over an unchanged link.
struct Steady {
  Samples change;  // from a draw of the block to its decoded pixel
  Samples echo;
  Samples key;
  Samples age;  // of the pictures; empty where a viewer does not know it
  double linkUse = 0;
  double picturesPerSecond = 0;
  double motionPerSecond = 0;  // pictures drawn on the screen
};

/// After the link was bad for a while.
struct Recovery {
  double picturesBefore = 0;  // a second
  double linkUseBefore = 0;
  double ageBefore = 0;  // of the pictures, mean, milliseconds
  /// Until the first picture was decoded.
  std::optional<double> firstPictureSeconds;
  /// Until the start of the first second in which 80 % of the pictures and of the link use from before were
  /// there.
  std::optional<double> fullRateSeconds;
  Samples age;  // of the pictures decoded until then
};

class Measurement {
 public:
  Measurement(LimitedLink& link, ProbeBlock& block, const Motion& motion)
      : link_(link), block_(block), motion_(motion) {}

  /// Round trips over the link while there is nothing else on it.
  Samples quietEchoes(LinkClient& client);

  /// `client` is the viewer where it can be asked for echoes, or null.
  Steady steady(Viewer& viewer, LinkClient* client, std::chrono::seconds duration);
  /// A tenth of the rate for the duration.
  Recovery afterThinLink(LinkClient& client, std::chrono::seconds duration);
  Recovery afterStall(LinkClient& client, std::chrono::seconds duration);
  /// From a stop to the last picture that came after it. Fewer than `count` where the host takes very long.
  Samples stops(LinkClient& client, int count);

 private:
  Recovery before(LinkClient& client, std::chrono::milliseconds duration);
  void awaitFullRate(LinkClient& client, Recovery& recovery);
  void probeChange(Viewer& viewer, Samples& samples, Clock::time_point end);

  LimitedLink& link_;
  ProbeBlock& block_;
  const Motion& motion_;
};

}  // namespace quorl::bench
