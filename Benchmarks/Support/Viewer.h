// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>

namespace quorl::bench {

using Clock = std::chrono::steady_clock;

struct Rgb {
  int red = 0;
  int green = 0;
  int blue = 0;
};

/// A pixel of the screen and its expected colour. `tolerance` is per channel, because video is lossy.
struct Probe {
  int x = 0;
  int y = 0;
  Rgb colour;
  int tolerance = 24;

  /// Sum over the channels.
  int distance(Rgb seen) const {
    return std::abs(seen.red - colour.red) + std::abs(seen.green - colour.green) +
           std::abs(seen.blue - colour.blue);
  }

  bool matches(Rgb seen) const {
    const auto near = [this](int a, int b) { return (a > b ? a - b : b - a) <= tolerance; };
    return near(seen.red, colour.red) && near(seen.green, colour.green) && near(seen.blue, colour.blue);
  }
};

/// A remote view of the screen, decoded on its own thread.
class Viewer {
 public:
  virtual ~Viewer() = default;

  virtual const std::string& name() const = 0;

  /// From now on checks each decoded picture for all of `probes` together.
  virtual void arm(std::span<const Probe> probes) = 0;
  /// Waits for the first picture that shows all probes and returns when it was decoded; nothing at the
  /// deadline.
  virtual std::optional<Clock::time_point> wait(std::chrono::milliseconds deadline) = 0;

  /// The difference of the newest picture since then from the probes: the mean over their channels, of 255.
  virtual std::optional<double> error() = 0;

  /// The name of the video format once it is known; empty if there is none.
  virtual std::string format() const { return {}; }

  /// Pictures decoded and bytes received so far.
  virtual std::uint64_t pictures() const = 0;
  virtual std::uint64_t bytes() const = 0;
};

}  // namespace quorl::bench
