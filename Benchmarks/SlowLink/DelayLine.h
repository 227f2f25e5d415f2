// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "NetworkSpace.h"

namespace quorl::bench {

/// A wire with a delay: packets that enter the TUN device of one namespace leave that of the other after the
/// delay, in both directions, in order and without loss. To the ends of a connection it is the network.
class DelayLine {
 public:
  /// Creates a device `tun0` in each namespace and brings it up.
  DelayLine(const NetworkSpace& left, const NetworkSpace& right, std::chrono::microseconds delay);
  DelayLine(const DelayLine&) = delete;
  DelayLine& operator=(const DelayLine&) = delete;
  ~DelayLine();

 private:
  void carry();

  const std::chrono::microseconds delay_;
  int left_ = -1;
  int right_ = -1;
  int stop_ = -1;
  std::thread thread_;
};

}  // namespace quorl::bench
