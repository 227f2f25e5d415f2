// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include <quorl-client/Recording/Muxer.h>
#include <quorl-client/Sound/SoundTimeline.h>

namespace quorl::client {

/// A recording of a stream, with sound if wanted. The file is created when the format of all its parts is
/// known; a host without sound delays that by a second.
///
/// Pictures carry the host's clock and sound a count of samples, so both are placed by their arrivals: the
/// picture and the packet that came with the least delay show how the two belong together.
///
/// *Queue*: the command's thread. *Blocking*: on the disk. *Ownership*: the command's.
class StreamRecording {
 public:
  enum class Sound : std::uint8_t { wanted, none };
  /// How long after the first picture the file waits for sound, and sound for pictures with little delay.
  static constexpr std::chrono::milliseconds patience{1'000};

  StreamRecording(std::filesystem::path path, Sound sound) : path_(std::move(path)), sound_(sound) {}

  enum class Verdict : std::uint8_t { goOn, formatChanged };
  Outcome<Verdict> take(VideoEvent event);
  Outcome<void> take(SoundEvent event);
  /// To be called while nothing arrives.
  Outcome<void> tick(Clock::time_point now);

  /// The arrival of the first picture.
  std::optional<Clock::time_point> firstArrival() const { return firstArrival_; }
  std::uint64_t bytes() const { return bytes_; }
  bool hasSound() const { return soundPackets_ > 0; }

  /// Returns the number of pictures.
  Outcome<std::uint64_t> finish();

 private:
  void hold(EncodedPicture picture);
  Outcome<void> create();
  Outcome<void> writeHeld();
  Outcome<void> writeSound();

  std::filesystem::path path_;
  Sound sound_;

  std::optional<PixelSize> size_;
  std::optional<DecoderConfig> config_;
  std::vector<EncodedPicture> held_;
  std::optional<Clock::time_point> firstArrival_;
  std::uint64_t firstPts_ = 0;
  Clock::duration leastPictureDelay_{};  // from a time stamp to its arrival
  std::unique_ptr<Muxer> muxer_;
  std::uint64_t bytes_ = 0;

  std::optional<AudioConfig> soundConfig_;
  std::optional<SoundTimeline> timeline_;
  std::deque<PlacedSound> heldSound_;
  std::optional<Clock::time_point> zero_;  // when the first picture was captured, once it is known
  std::uint64_t soundPackets_ = 0;
};

}  // namespace quorl::client
