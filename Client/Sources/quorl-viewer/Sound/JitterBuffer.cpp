// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Sound/JitterBuffer.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace quorl::viewer {
namespace {

using std::chrono::milliseconds;
using Clock = JitterBuffer::Clock;

constexpr milliseconds fadeTime{5};
constexpr milliseconds idleAfter{1'000};
// An output asks every 5 to 10 ms. It gets no silence yet if it holds enough for that time and this.
constexpr milliseconds outputReserve{2};
constexpr milliseconds shortestTurn{5};
constexpr milliseconds longestTurn{10};
// A level above the target by more than this is cut at once; by `lasting` for a `window` at the window's end.
constexpr milliseconds cutAtOnce{100};
constexpr milliseconds lasting{10};
constexpr milliseconds window{400};
// The output needs this much to bridge packets, however long its own delay is.
constexpr milliseconds leastReserve{30};
// Time stamps are rounded to microseconds.
constexpr std::int64_t contiguousMicros = 2'000;
// Sound may be this much ahead of the picture; most people notice 100 ms.
constexpr milliseconds mostAhead{60};
constexpr milliseconds targetStep{20};
// From the capture of a sample to its packet: the encoder fills a packet and looks one ahead, and two packets
// overlap in the decoder (ISO/IEC 14496-3, the filter bank of AAC).
constexpr int packetsOfCodec = 3;

double milli(Clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

}  // namespace

JitterBuffer::JitterBuffer(SoundFormat format)
    : format_(format),
      channels_(static_cast<std::size_t>(format.channels)),
      fadeFrames_(framesOf(fadeTime)),
      resampler_(format),
      last_(channels_) {}

std::size_t JitterBuffer::framesOf(Clock::duration time) const {
  const double seconds = std::chrono::duration<double>(std::max(time, Clock::duration::zero())).count();
  return static_cast<std::size_t>(std::lround(seconds * format_.rate));
}

Clock::duration JitterBuffer::timeOf(std::size_t frames) const {
  return std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(static_cast<double>(frames) / format_.rate));
}

Clock::duration JitterBuffer::level(Clock::time_point now) const {
  return timeOf(frames()) + std::max(outputEnd_ - now, Clock::duration::zero());
}

void JitterBuffer::restart() {
  nextPts_.reset();
  least_.forget();
}

void JitterBuffer::push(std::span<const std::int16_t> samples, std::uint64_t ptsMicros,
                        Clock::time_point now) {
  if (samples.empty()) return;
  packet_ = timeOf(samples.size() / channels_);
  handleGap(ptsMicros, now);
  nextPts_ =
      ptsMicros + static_cast<std::uint64_t>(std::chrono::round<std::chrono::microseconds>(packet_).count());
  // The level falls from here by one packet until the next one arrives.
  const auto before = level(now);
  const auto mean = before + packet_ / 2;
  lastExcess_ = least_.excess(ptsMicros, now);
  jitterTarget_.arrived(lastExcess_, now);
  if (isPlaying_) {
    const double seconds = lastPush_ ? milli(now - *lastPush_) / 1'000 : 0;
    report_.stretch = drift_.update(milli(mean), milli(target()), std::min(seconds, 0.1));
    report_.age = lastExcess_ + packetsOfCodec * packet_ + before;
  }
  lastPush_ = now;
  append(samples);
  if (!windowBegin_) {
    windowBegin_ = now;
    leastLevel_ = mean;
  }
  leastLevel_ = std::min(leastLevel_, mean);
  trimLevel(now);
}

void JitterBuffer::append(std::span<const std::int16_t> samples) {
  if (head_ > sound_.size() / 2) {
    sound_.erase(sound_.begin(), sound_.begin() + static_cast<std::ptrdiff_t>(head_));
    head_ = 0;
  }
  const auto before = frames();
  resampler_.add(samples, report_.stretch, sound_);
  if (std::exchange(isFadingIn_, false)) fadeIn(before);
}

// After lost packets the next one is on time, so the level would be too low by their length.
void JitterBuffer::handleGap(std::uint64_t ptsMicros, Clock::time_point now) {
  if (!nextPts_) return;
  const auto jump = static_cast<std::int64_t>(ptsMicros - *nextPts_);
  if (jump > -contiguousMicros && jump < contiguousMicros) return;
  ++report_.gaps;
  isFadingIn_ = true;
  Clock::duration missing{};
  if (jump > 0) {
    const auto lost = std::chrono::microseconds(std::min<std::int64_t>(jump, 1'000'000));
    missing = std::clamp<Clock::duration>(target() - packet_ / 2 - level(now), Clock::duration::zero(), lost);
  } else {
    least_.forget();
  }
  const auto* last = frames() > 0 ? sound_.data() + sound_.size() - channels_ : last_.data();
  const std::vector<std::int16_t> lastFrame(last, last + channels_);
  const auto begin = sound_.size();
  sound_.resize(begin + std::max(framesOf(missing), fadeFrames_) * channels_);
  if (isPlaying_ || begin > head_) decay(lastFrame, fadeFrames_, std::span(sound_).subspan(begin));
}

// The last frame of sound, held and faded out.
void JitterBuffer::decay(std::span<const std::int16_t> frame, std::size_t left,
                         std::span<std::int16_t> samples) const {
  for (std::size_t at = 0; at < samples.size(); at += channels_) {
    if (left > 0) --left;
    for (std::size_t channel = 0; channel < channels_; ++channel)
      samples[at + channel] =
          static_cast<std::int16_t>(frame[channel] * static_cast<int>(left) / static_cast<int>(fadeFrames_));
  }
}

void JitterBuffer::fadeIn(std::size_t firstFrame) {
  const auto count = std::min(fadeFrames_, frames() - firstFrame);
  for (std::size_t frame = 0; frame < count; ++frame)
    for (std::size_t channel = 0; channel < channels_; ++channel) {
      auto& sample = sound_[head_ + (firstFrame + frame) * channels_ + channel];
      sample = static_cast<std::int16_t>(sample * static_cast<int>(frame) / static_cast<int>(count));
    }
}

// Leaves out the oldest sound. What would have been played next fades into what is played instead, so that a
// second cut before that begins with the same samples.
void JitterBuffer::cut(Clock::duration time) {
  const auto dropped = std::min(framesOf(time), frames());
  if (dropped == 0) return;
  if (isPlaying_) ++report_.cuts;
  const auto* old = sound_.data() + head_;
  auto* fresh = sound_.data() + head_ + dropped * channels_;
  const auto count = std::min({fadeFrames_, frames() - dropped, dropped});
  if (isPlaying_)
    for (std::size_t frame = 0; frame < count; ++frame)
      for (std::size_t channel = 0; channel < channels_; ++channel) {
        const auto at = frame * channels_ + channel;
        const auto share = static_cast<int>(frame);
        const auto whole = static_cast<int>(count);
        fresh[at] = static_cast<std::int16_t>((old[at] * (whole - share) + fresh[at] * share) / whole);
      }
  head_ += dropped * channels_;
  drift_.settle();
  windowBegin_.reset();
}

void JitterBuffer::trimLevel(Clock::time_point now) {
  const auto afterPush = target() + packet_ / 2;
  const auto excess = level(now) - afterPush;
  if (!isPlaying_) {
    cut(timeOf(frames()) - longest);
    return;
  }
  if (excess > cutAtOnce) return cut(excess);
  if (now - *windowBegin_ < window) return;
  const auto lastingExcess = leastLevel_ - target();
  windowBegin_.reset();
  if (lastingExcess > lasting) cut(lastingExcess);
}

void JitterBuffer::startIfReady(Clock::duration outputDelay, Clock::time_point now) {
  // The fade-out of the last stall ends first.
  if (!lastPush_ || frames() == 0 || decayLeft_ > 0) return;
  // After a packet that was late the next one comes sooner.
  const auto sincePush = std::min(now - *lastPush_ + lastExcess_, packet_);
  const auto wanted =
      std::max<Clock::duration>(target() + packet_ / 2 - sincePush - outputDelay, leastReserve);
  const auto ready = timeOf(frames());
  if (ready < wanted) return;
  if (ready - wanted > packet_) ++report_.cuts;
  cut(ready - wanted);
  isPlaying_ = true;
  drift_.settle();
  windowBegin_.reset();
  fadeIn(0);
}

JitterBuffer::Pulled JitterBuffer::pull(std::span<std::int16_t> samples, Clock::duration outputDelay,
                                        Clock::time_point now) {
  if (!isPlaying_) startIfReady(outputDelay, now);
  const auto count = isPlaying_ ? std::min(samples.size(), sound_.size() - head_) : 0;
  const auto turn = std::clamp<Clock::duration>(now - lastPull_, shortestTurn, longestTurn);
  lastPull_ = now;
  const bool mayWait = isPlaying_ && outputDelay + timeOf(count / channels_) > turn + outputReserve;
  outputEnd_ = now + outputDelay + timeOf((mayWait ? count : samples.size()) / channels_);
  std::copy_n(sound_.begin() + static_cast<std::ptrdiff_t>(head_), count, samples.begin());
  head_ += count;
  if (count >= channels_) {
    std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(count - channels_), channels_, last_.begin());
    decayLeft_ = fadeFrames_;
    silentFrames_ = 0;
  }
  if (count == samples.size() || mayWait) return {count, Pull::sound};
  if (std::exchange(isPlaying_, false)) {
    ++report_.stalls;
    jitterTarget_.stalled(now);
    report_.age.reset();
  }
  playSilence(samples.subspan(count));
  return {samples.size(), timeOf(silentFrames_) > idleAfter ? Pull::idle : Pull::silence};
}

void JitterBuffer::playSilence(std::span<std::int16_t> samples) {
  decay(last_, decayLeft_, samples);
  const auto count = samples.size() / channels_;
  decayLeft_ -= std::min(decayLeft_, count);
  silentFrames_ += count;
}

void JitterBuffer::setPictureAge(Clock::duration age) {
  const auto wanted = std::min<Clock::duration>(age - mostAhead - packetsOfCodec * packet_, longestTarget);
  if (wanted <= jitterTarget_.value()) {
    pictureTarget_ = {};
    return;
  }
  if (wanted > target() - targetStep && wanted < target() + targetStep) return;
  // A higher level is reached by a pause, a lower one by a cut.
  if (wanted > target()) isPlaying_ = false;
  pictureTarget_ = wanted;
}

JitterBuffer::Report JitterBuffer::report(Clock::time_point now) const {
  auto report = report_;
  const auto sincePush = lastPush_ ? std::min(now - *lastPush_, packet_) : Clock::duration::zero();
  report.levelMilliseconds = milli(level(now) + sincePush - packet_ / 2);
  report.targetMilliseconds = milli(target());
  return report;
}

}  // namespace quorl::viewer
