// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include <quorl-client/Base/LeastDelay.h>
#include <quorl-viewer/Sound/BufferTarget.h>
#include <quorl-viewer/Sound/DriftControl.h>
#include <quorl-viewer/Sound/Resampler.h>

namespace quorl::viewer {

/// The sound between the network and the output. Its level is the time from the arrival of a sample until it
/// is heard: what waits here and in the output's own buffer. The mean level is kept at a target,
/// `BufferTarget` or what late pictures need:
///
/// - Different clocks are corrected by resampling.
/// - Without sound it fades out, plays silence, and begins again when the target is reached.
/// - After a stall the oldest sound is cut, once, with a crossfade: the newest wins.
/// - Lost packets are silence of their length, as far as the level is below the target.
///
/// *Queue*: one at a time. *Ownership*: a value. Pure: times are passed in. Memory: `longest` of sound.
class JitterBuffer {
 public:
  using Clock = client::Clock;
  static constexpr std::chrono::milliseconds longestTarget{300};
  static constexpr std::chrono::milliseconds longest{500};

  enum class Pull : std::uint8_t { sound, silence, idle };
  struct Pulled {
    std::size_t samples = 0;
    Pull kind = Pull::silence;
  };

  struct Report {
    double levelMilliseconds = 0;
    double targetMilliseconds = 0;
    int stretch = 0;           // parts per million
    std::uint64_t cuts = 0;    // times that sound was left out to reach the target
    std::uint64_t stalls = 0;  // times that nothing was left to play
    std::uint64_t gaps = 0;    // in the host's time stamps
    /// From the capture at the host to the moment it is heard, without the fixed delay of the link, which
    /// pictures have too. Nothing while no sound is played.
    std::optional<Clock::duration> age;
  };

  /// `format` is playable.
  explicit JitterBuffer(SoundFormat format);

  /// Samples of one packet.
  void push(std::span<const std::int16_t> samples, std::uint64_t ptsMicros, Clock::time_point now);
  /// The host begins a new count of time stamps.
  void restart();

  /// Samples for an output that plays them after `outputDelay`. While the output has enough, only the sound
  /// that is there, perhaps none, since a late packet may still come; else all that it asks for. `idle`:
  /// nothing has come for a second; the output may pause.
  Pulled pull(std::span<std::int16_t> samples, Clock::duration outputDelay, Clock::time_point now);

  /// How old the pictures are when they are shown. Pictures that are much older than the sound delay it.
  void setPictureAge(Clock::duration age);

  /// What waits here and in the output.
  Clock::duration level(Clock::time_point now) const;
  Report report(Clock::time_point now) const;

 private:
  std::size_t frames() const { return (sound_.size() - head_) / channels_; }
  std::size_t framesOf(Clock::duration time) const;
  Clock::duration timeOf(std::size_t frames) const;
  Clock::duration target() const { return std::max(jitterTarget_.value(), pictureTarget_); }
  void handleGap(std::uint64_t ptsMicros, Clock::time_point now);
  void append(std::span<const std::int16_t> samples);
  void cut(Clock::duration time);
  void trimLevel(Clock::time_point now);
  void startIfReady(Clock::duration outputDelay, Clock::time_point now);
  void playSilence(std::span<std::int16_t> samples);
  void fadeIn(std::size_t firstFrame);
  void decay(std::span<const std::int16_t> frame, std::size_t left, std::span<std::int16_t> samples) const;

  SoundFormat format_;
  std::size_t channels_;
  std::size_t fadeFrames_;
  Resampler resampler_;
  DriftControl drift_;
  client::LeastDelay least_;

  std::vector<std::int16_t> sound_;
  std::size_t head_ = 0;            // the first sample not played
  std::vector<std::int16_t> last_;  // the frame played last
  std::size_t decayLeft_ = 0;       // frames of the fade-out of `last_`
  bool isPlaying_ = false;
  bool isFadingIn_ = false;  // the next samples that arrive
  std::size_t silentFrames_ = 0;

  BufferTarget jitterTarget_;
  Clock::duration pictureTarget_{};  // what the age of the pictures asks for
  Clock::duration packet_{};
  std::optional<std::uint64_t> nextPts_;
  std::optional<Clock::time_point> lastPush_;
  Clock::duration lastExcess_{};  // how late the last packet was
  Clock::time_point lastPull_;
  Clock::time_point outputEnd_;  // when the output has played what it was given
  // The least mean level of the current window, to tell a lasting excess from jitter.
  std::optional<Clock::time_point> windowBegin_;
  Clock::duration leastLevel_{};
  Report report_;
};

}  // namespace quorl::viewer
