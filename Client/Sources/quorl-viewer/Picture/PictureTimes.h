// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>

#include <quorl-client/Base/LeastDelay.h>
#include <quorl-viewer/Picture/PictureSlot.h>

namespace quorl::viewer {

/// Why a picture was not shown.
enum class DropCause : std::uint8_t { network, backlog, withoutKeyframe, damaged, replaced, hidden };
constexpr std::size_t dropCauses = 6;

/// Milliseconds over the last seconds.
struct TimeSummary {
  double mean = 0;
  double median = 0;
  double percentile95 = 0;
  double most = 0;
};

/// What the overlay shows. A value without measurements is absent.
struct PictureReport {
  double decodedPerSecond = 0;
  double shownPerSecond = 0;
  double megabitsPerSecond = 0;
  std::optional<TimeSummary> roundTrip;
  /// From the capture to the arrival: half the least round trip, and what the picture took longer than the
  /// fastest one. The host does not report how long it encodes, so only the variation of that is included.
  std::optional<TimeSummary> network;
  std::optional<TimeSummary> waiting;  // from the arrival to the decoder
  std::optional<TimeSummary> decode;
  std::optional<TimeSummary> display;             // from the decoder to the window
  std::optional<TimeSummary> age;                 // from the capture to the window: all of the above
  std::array<std::uint64_t, dropCauses> drops{};  // since the start, by `DropCause`
};

/// Collects the times of pictures for the overlay, over the last `window`. Bounded. `StatsMeter` of the
/// client reports intervals and means; this slides and has percentiles.
///
/// *Queue*: one at a time. *Ownership*: a value. Pure: times are passed in.
class PictureTimes {
 public:
  static constexpr std::chrono::seconds window{5};

  void decoded(const PictureTiming& timing);
  /// The picture is on the window's surface.
  void shown(const PictureTiming& timing, client::Clock::time_point now);
  void roundTrip(client::Clock::duration time, client::Clock::time_point now);
  /// The total of a cause since the start.
  void setDrops(DropCause cause, std::uint64_t total) { drops_[static_cast<std::size_t>(cause)] = total; }

  PictureReport report(client::Clock::time_point now);
  /// How old the pictures are when they are shown, for the sound. Nothing before the first.
  std::optional<client::Clock::duration> age() const { return age_; }

 private:
  using Milliseconds = double;
  struct Measurement {
    client::Clock::time_point when;
    Milliseconds value = 0;
  };
  // The measurements of the window.
  class Series {
   public:
    void add(client::Clock::time_point when, Milliseconds value);
    void expire(client::Clock::time_point now);
    std::optional<TimeSummary> summary() const;
    std::optional<Milliseconds> least() const;
    std::size_t size() const { return values_.size(); }
    Milliseconds sum() const;

   private:
    std::deque<Measurement> values_;
  };

  client::LeastDelay least_;
  Series sizes_;  // in bits
  Series roundTrips_;
  Series excesses_;
  Series waiting_;
  Series decode_;
  Series display_;
  Series ages_;
  std::optional<client::Clock::time_point> begin_;
  std::optional<client::Clock::duration> age_;
  std::deque<std::pair<std::uint64_t, client::Clock::duration>>
      excessOf_;  // by time stamp, of pictures not shown
  std::array<std::uint64_t, dropCauses> drops_{};
};

}  // namespace quorl::viewer
