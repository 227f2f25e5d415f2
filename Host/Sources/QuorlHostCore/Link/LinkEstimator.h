// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>

namespace quorl {

/// Estimates the rate of one client's link, and decides when the next picture may be captured and at what
/// rate pictures may be encoded. A state machine: times and byte counts in, gate and rate out. It reads no
/// clock.
///
/// *Gate*: open while the bytes in flight (accepted for the client and not yet acknowledged by its system)
/// are no more than the link carries in its shortest round trip plus 40 ms. This keeps the link busy while
/// the next picture is made, and bounds the queue in front of other data.
///
/// *Delivered rate*: the bytes acknowledged over at least 50 ms with a queue in front of the link. A burst
/// that was acknowledged in full only shows that the link is at least that fast. Times without any
/// acknowledgement (a stall of a radio link) are not counted.
///
/// *Picture rate*: 0.85 of the delivered rate if a picture is wanted while those before the last one are
/// still more than 50 ms of queue. It rises by a factor of about three per second while they are less than
/// 25 ms and the rate is used, up to a little more than the delivered rate if the link is the limit.
///
/// *Queue*: the owner's; a value.
class LinkEstimator {
 public:
  // What a busy machine takes to make a picture, so that the link is not idle meanwhile.
  static constexpr Duration slack = std::chrono::milliseconds(40);
  /// The assumed rate of an unknown link, in bytes per second (5 Mbit/s).
  static constexpr double initialRate = 625'000;

  /// Bytes that were accepted for the client and wait in any queue.
  void accepted(MonotonicTime now, std::size_t bytes);
  /// Accepted bytes that will never reach the transport.
  void discarded(std::size_t bytes);
  /// `acknowledged`: all bytes that the client's system has acknowledged so far; never decreases.
  /// `shortestRoundTrip`: without queues; zero while unknown.
  void observed(MonotonicTime now, std::uint64_t acknowledged, Duration shortestRoundTrip);
  /// A stream wants to capture a picture now. `wantedRate`: what its quality asks for, in bytes per second.
  /// Call `observed` first.
  void pictureWanted(MonotonicTime now, double wantedRate);

  bool isOpen() const;
  /// When to observe again while the gate is closed or a burst is being measured: predicted from the rate, at
  /// growing intervals while nothing arrives. Nothing if observing is of no use.
  std::optional<Duration> nextObservation() const;

  /// The rate for all pictures of this client together, in bytes per second.
  double pictureRate() const { return pictureRate_; }
  /// The delivered rate in bytes per second; zero while unknown.
  double deliveredRate() const { return rate_; }
  std::uint64_t underWay() const { return accepted_ - acknowledged_; }

 private:
  struct Mark {
    MonotonicTime time;
    std::uint64_t acknowledged = 0;
  };

  double allowance() const;
  // The time that the link takes for these bytes, beyond its round trip.
  Duration delayOf(std::uint64_t bytes) const;
  bool hasQueue() const;
  void beginWindow(MonotonicTime from);
  void measure(MonotonicTime now);
  void measureBurst(MonotonicTime now);
  void raiseTo(double rate);
  void noteUse(MonotonicTime now, std::size_t bytes);

  std::uint64_t accepted_ = 0;
  std::uint64_t acknowledged_ = 0;
  std::uint64_t acceptedBefore_ = 0;  // before the last admitted picture
  Duration roundTrip_{};

  double rate_ = 0;                   // delivered, bytes per second
  double pictureRate_ = initialRate;  // bytes per second
  double wantedRate_ = 0;             // of the last request
  double use_ = 0;                    // accepted recently, bytes per second
  std::optional<MonotonicTime> useNotedAt_;
  std::optional<Mark> burst_;   // start of the current busy period
  std::optional<Mark> window_;  // start of the current measurement
  bool windowHadQueue_ = true;  // at each observation in the window
  int looks_ = 0;               // observations in the window, and those with the gate closed
  int closedLooks_ = 0;
  std::optional<MonotonicTime> progressAt_;
  std::optional<MonotonicTime> limitedAt_;  // when a picture last had to wait
  std::optional<MonotonicTime> wantedAt_;
  int idleObservations_ = 0;  // consecutive, without progress
};

}  // namespace quorl
