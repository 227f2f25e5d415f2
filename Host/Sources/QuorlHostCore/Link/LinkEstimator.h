// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>

namespace quorl {

/// Estimates what one client's link carries, and decides from that when the next picture may be captured and
/// at what rate pictures may be encoded. Times and byte counts in, gate and rate out; it reads no clock.
///
/// *Gate*: open while the bytes under way (accepted for the client and not yet acknowledged by its system)
/// are no more than the link carries in its shortest round trip plus 40 ms. That keeps the link busy while
/// the next picture is made, and keeps the queue in front of everything else that short.
///
/// *Delivered rate*: bytes acknowledged over at least 50 ms with a queue in front of the link. A burst that
/// was acknowledged in full only proves that the link is at least that fast. Time in which nothing at all
/// arrived (a stall of a radio link) is not counted.
///
/// *Picture rate*: 0.85 of the delivered rate when a picture is wanted and those before the last one are
/// still more than 50 ms of queue; rises by a factor of about three a second while they are less than 25 ms
/// and the rate is used, to a little more than the delivered rate where the link is the limit.
///
/// *Queue*: none of its own; a value of its owner's.
class LinkEstimator {
 public:
  // As long as a busy machine takes for a picture, so that the link is not idle meanwhile.
  static constexpr Duration slack = std::chrono::milliseconds(40);
  /// Pictures of an unknown link are made for this rate, in bytes per second (5 Mbit/s).
  static constexpr double initialRate = 625'000;

  /// Bytes that begin to wait for the client, in whatever queue.
  void accepted(MonotonicTime now, std::size_t bytes);
  /// Bytes that were accepted and will never reach the transport.
  void discarded(std::size_t bytes);
  /// `acknowledged`: all bytes so far that the client's system has confirmed; never falls.
  /// `shortestRoundTrip`: without any queue; zero while unknown.
  void observed(MonotonicTime now, std::uint64_t acknowledged, Duration shortestRoundTrip);
  /// A stream would capture a picture now; `wantedRate` is the rate that its quality asks for, in bytes per
  /// second. Call `observed` first.
  void pictureWanted(MonotonicTime now, double wantedRate);

  bool isOpen() const;
  /// When to observe again while the gate is closed or a burst is being measured: estimated from the rate,
  /// longer and longer while nothing arrives. Nothing when observing would be of no use.
  std::optional<Duration> nextObservation() const;

  /// What all pictures of this client together may use, in bytes per second.
  double pictureRate() const { return pictureRate_; }
  /// What the link delivers, in bytes per second; zero while unknown.
  double deliveredRate() const { return rate_; }
  std::uint64_t underWay() const { return accepted_ - acknowledged_; }

 private:
  struct Mark {
    MonotonicTime time;
    std::uint64_t acknowledged = 0;
  };

  double allowance() const;
  // How long the link takes for them, beyond its round trip.
  Duration delayOf(std::uint64_t bytes) const;
  bool hasQueue() const;
  void beginWindow(MonotonicTime from);
  void measure(MonotonicTime now);
  void measureBurst(MonotonicTime now);
  void raiseTo(double rate);
  void noteUse(MonotonicTime now, std::size_t bytes);

  std::uint64_t accepted_ = 0;
  std::uint64_t acknowledged_ = 0;
  std::uint64_t acceptedBefore_ = 0;  // the picture that was admitted last
  Duration roundTrip_{};

  double rate_ = 0;                   // delivered, bytes per second
  double pictureRate_ = initialRate;  // bytes per second
  double wantedRate_ = 0;             // of the picture wanted last
  double use_ = 0;                    // what was accepted lately, bytes per second
  std::optional<MonotonicTime> useNotedAt_;
  std::optional<Mark> burst_;   // where the present busy period began
  std::optional<Mark> window_;  // where the present measurement began
  bool windowHadQueue_ = true;  // at each observation in the window
  int looks_ = 0;               // observations in the window, and those with the gate closed
  int closedLooks_ = 0;
  std::optional<MonotonicTime> progressAt_;
  std::optional<MonotonicTime> limitedAt_;  // when a picture last had to wait
  std::optional<MonotonicTime> wantedAt_;
  int idleObservations_ = 0;  // in a row, without progress
};

}  // namespace quorl
