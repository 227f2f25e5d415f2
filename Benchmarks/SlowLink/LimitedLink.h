// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "DelayLine.h"
#include "NetworkSpace.h"

namespace quorl::bench {

struct LinkShape {
  double megabits = 5;                      // a second, towards the client
  std::chrono::milliseconds roundTrip{40};  // added by the wire
  std::string congestionControl = "cubic";
};

///     host side                      middle                        client side
///     10.99.1.1 tun0 == delay line == tun0   m0 (tbf) -- veth -- c0 10.99.2.2
///
/// The bottleneck is the egress of `m0`: a token bucket with a buffer of 200 ms of the shape's rate, which
/// drops what does not fit, as the router of a home does. The way back is not limited. The kernels of both
/// ends see rate, delay and loss as of a network.
class LimitedLink {
 public:
  static constexpr const char* hostAddress = "10.99.1.1";

  explicit LimitedLink(LinkShape shape);

  const NetworkSpace& hostSide() const { return hostSide_; }
  const NetworkSpace& clientSide() const { return clientSide_; }
  double bitsPerSecond() const { return shape_.megabits * 1e6; }

  /// The buffer keeps its size in bytes, as a router's does when its line gets slower.
  void setShare(double shareOfRate);
  /// Nothing leaves the bottleneck until `setShare`; its buffer fills and overflows.
  void stall();

  /// What has left the bottleneck so far, Ethernet headers included: what its rate counts.
  std::uint64_t carriedBytes() const;

 private:
  void configureTcp(const NetworkSpace& space) const;
  void shapeBottleneck(const std::string& verb, double bitsPerSecond) const;

  const LinkShape shape_;
  NetworkSpace hostSide_;
  NetworkSpace middle_;
  NetworkSpace clientSide_;
  DelayLine wire_;
};

}  // namespace quorl::bench
