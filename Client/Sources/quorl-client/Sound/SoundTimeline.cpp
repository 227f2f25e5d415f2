// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Sound/SoundTimeline.h>

#include <algorithm>
#include <utility>

namespace quorl::client {
namespace {

constexpr double samplesPerPacket = 1'024;
// Time stamps are cut to whole microseconds.
constexpr std::chrono::microseconds rounding{10};

}  // namespace

SoundTimeline::SoundTimeline(double sampleRate)
    : packetLength_(std::chrono::duration_cast<Clock::duration>(
          std::chrono::duration<double>(samplesPerPacket / (sampleRate > 0 ? sampleRate : 48'000)))) {}

SoundTimeline::Offset SoundTimeline::delayOf(const SoundPacket& packet) {
  // Wraps like the time stamps of a host that sends nonsense.
  return packet.arrival.time_since_epoch() -
         std::chrono::microseconds(static_cast<std::int64_t>(packet.ptsMicros % (1ULL << 52U)));
}

std::vector<PlacedSound> SoundTimeline::add(SoundPacket packet) {
  if (!firstArrival_) {
    firstArrival_ = packet.arrival;
    least_ = delayOf(packet);
  }
  const auto now = packet.arrival;
  learnFrom(packet);
  waiting_.push_back(std::move(packet));
  if (isLearning_ && now - *firstArrival_ < learning) return {};
  return flush();
}

std::vector<PlacedSound> SoundTimeline::flush() {
  isLearning_ = false;
  return placeAll();
}

void SoundTimeline::learnFrom(const SoundPacket& packet) {
  const auto delay = delayOf(packet);
  if (isLearning_ || delay < least_ - tolerance) least_ = std::min(least_, delay);
  if (delay <= least_ + tolerance) {
    lateSince_.reset();
    return;
  }
  leastLate_ = lateSince_ ? std::min(leastLate_, delay) : delay;
  if (!lateSince_) lateSince_ = packet.arrival;
  if (packet.arrival - *lateSince_ < certainty) return;
  least_ = leastLate_;
  lateSince_.reset();
}

std::vector<PlacedSound> SoundTimeline::placeAll() {
  std::vector<PlacedSound> placed;
  for (auto& packet : waiting_) {
    auto begin = packet.arrival - delayOf(packet) + least_ - 2 * packetLength_;
    if (end_ && begin < *end_ - packetLength_ / 2) continue;
    // Packets that follow each other meet exactly.
    if (end_ && begin < *end_ + rounding) begin = *end_;
    end_ = begin + packetLength_;
    placed.push_back({begin, std::move(packet)});
  }
  waiting_.clear();
  return placed;
}

}  // namespace quorl::client
