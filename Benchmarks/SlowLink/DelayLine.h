// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "NetworkSpace.h"

namespace quorl::bench {

/// A wire of a given length: what enters a TUN device of one namespace leaves that of another after the
/// delay, both ways, in order and complete. The ends of a connection see it as the network.
class DelayLine {
 public:
  /// The devices are named `tun0` and are up.
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
