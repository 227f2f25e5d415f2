// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "DelayLine.h"
#include "NetworkSpace.h"

namespace quorl::bench {

struct LinkShape {
  double megabits = 5;                      // Mbit/s towards the client
  std::chrono::milliseconds roundTrip{40};  // added by the delay line
  std::string congestionControl = "cubic";
};

///     host side                      middle                        client side
///     10.99.1.1 tun0 == delay line == tun0   m0 (tbf) -- veth -- c0 10.99.2.2
///
/// The bottleneck is the egress of `m0`: a token bucket with a buffer of 200 ms at the shape's rate, which
/// drops what does not fit, as a home router does. The opposite direction is limited only on request. Both
/// kernels see rate, delay and loss as on a network.
class LimitedLink {
 public:
  static constexpr const char* hostAddress = "10.99.1.1";

  explicit LimitedLink(LinkShape shape);

  const NetworkSpace& hostSide() const { return hostSide_; }
  const NetworkSpace& clientSide() const { return clientSide_; }
  double bitsPerSecond() const { return shape_.megabits * 1e6; }

  /// Changes the rate. The buffer keeps its size in bytes, as that of a router does when its line slows down.
  void setShare(double shareOfRate);
  /// Nothing leaves the bottleneck until `setShare`; its buffer fills and overflows.
  void stall();

  /// Limits the opposite direction likewise. For the time of an upload.
  void limitUploads();
  void unlimitUploads();

  /// Bytes that have left the bottleneck so far, including Ethernet headers, as the token bucket counts them.
  std::uint64_t carriedBytes() const;
  /// The same for the opposite direction.
  std::uint64_t uploadedBytes() const;

 private:
  void configureTcp(const NetworkSpace& space) const;
  std::string bucketOf(double bitsPerSecond) const;
  void shapeBottleneck(const std::string& verb, double bitsPerSecond) const;

  const LinkShape shape_;
  bool limitsUploads_ = false;
  NetworkSpace hostSide_;
  NetworkSpace middle_;
  NetworkSpace clientSide_;
  DelayLine wire_;
};

}  // namespace quorl::bench
