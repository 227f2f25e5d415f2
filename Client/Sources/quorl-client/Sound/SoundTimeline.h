// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <vector>

#include <quorl-client/Sound/SoundReceiver.h>

namespace quorl::client {

/// A packet and when its decoded samples were captured, on this machine's clock.
struct PlacedSound {
  Clock::time_point begin;
  SoundPacket packet;
};

/// Finds when sound was captured. The host's time stamps count samples from an unknown moment and pause while
/// the host has no sound; their arrivals are late by what the network and the encoder take. The packet that
/// came with the least delay shows where the count began. A delay that lasts moves the count: the host had a
/// pause.
///
/// An AAC packet cannot leave before its last sample was captured, and decodes to the first half of the 2048
/// samples that it covers (ISO/IEC 14496-3, 4.6.11); so its sound is at least that old when it arrives.
///
/// *Queue*: a value.
class SoundTimeline {
 public:
  /// Time for a packet with little delay to arrive.
  static constexpr std::chrono::milliseconds learning{500};
  /// Delays up to this are jitter.
  static constexpr std::chrono::milliseconds tolerance{100};
  /// A pause of the host is certain when packets have been late for this long.
  static constexpr std::chrono::milliseconds certainty{1'000};

  explicit SoundTimeline(double sampleRate);

  /// The packets that have a place now. Their order is that of arrival, and they do not overlap.
  std::vector<PlacedSound> add(SoundPacket packet);
  /// The packets that wait for more to come.
  std::vector<PlacedSound> flush();

  Clock::duration packetLength() const { return packetLength_; }

 private:
  using Offset = Clock::duration;  // from a time stamp to its arrival

  static Offset delayOf(const SoundPacket& packet);
  void learnFrom(const SoundPacket& packet);
  std::vector<PlacedSound> placeAll();

  Clock::duration packetLength_;
  std::optional<Clock::time_point> firstArrival_;
  Offset least_{};
  std::deque<SoundPacket> waiting_;
  bool isLearning_ = true;
  std::optional<Clock::time_point> lateSince_;
  Offset leastLate_{};
  std::optional<Clock::time_point> end_;  // of the last placed packet
};

}  // namespace quorl::client
