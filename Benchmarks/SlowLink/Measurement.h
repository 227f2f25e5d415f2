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

/// Results while the motion runs over an unchanged link.
struct Steady {
  Samples change;  // from a draw of the block to its decoded pixel
  Samples echo;
  Samples key;
  Samples age;  // of the pictures; empty if the viewer does not know it
  double linkUse = 0;
  double picturesPerSecond = 0;
  double motionPerSecond = 0;  // pictures drawn on the screen
};

/// Results after the link was degraded for a while.
struct Recovery {
  double picturesBefore = 0;  // per second
  double linkUseBefore = 0;
  double ageBefore = 0;  // of the pictures, mean, milliseconds
  /// Time until the first picture was decoded.
  std::optional<double> firstPictureSeconds;
  /// Time until the start of the first second in which pictures and link use reach 80 % of their earlier
  /// values.
  std::optional<double> fullRateSeconds;
  Samples age;  // of the pictures decoded until then
};

class Measurement {
 public:
  Measurement(LimitedLink& link, ProbeBlock& block, const Motion& motion)
      : link_(link), block_(block), motion_(motion) {}

  /// Round trips over the otherwise unused link.
  Samples quietEchoes(LinkClient& client);

  /// `client`: the viewer if it can request echoes, else null.
  Steady steady(Viewer& viewer, LinkClient* client, std::chrono::seconds duration);
  /// After a tenth of the rate for the duration.
  Recovery afterThinLink(LinkClient& client, std::chrono::seconds duration);
  Recovery afterStall(LinkClient& client, std::chrono::seconds duration);
  /// From a stop to the last picture that arrives after it. Fewer than `count` if the host takes very long.
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
