// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Recording/StreamRecording.h>

#include <algorithm>
#include <utility>

namespace quorl::client {

Outcome<StreamRecording::Verdict> StreamRecording::take(VideoEvent event) {
  if (const auto* started = std::get_if<StreamStarted>(&event)) {
    size_ = {static_cast<int>(started->pixelWidth), static_cast<int>(started->pixelHeight)};
  } else if (auto* config = std::get_if<DecoderConfig>(&event)) {
    if (config_ && firstArrival_ && config_->record != config->record) return Verdict::formatChanged;
    config_ = std::move(*config);
  } else if (auto* picture = std::get_if<EncodedPicture>(&event)) {
    hold(std::move(*picture));
  }
  if (auto done = tick(Clock::now()); !done) return std::unexpected(done.error());
  return Verdict::goOn;
}

void StreamRecording::hold(EncodedPicture picture) {
  if (!firstArrival_ && !picture.isKeyframe) return;
  const auto delay = picture.arrival.time_since_epoch() -
                     std::chrono::microseconds(static_cast<std::int64_t>(picture.ptsMicros % (1ULL << 52U)));
  if (!firstArrival_) {
    firstArrival_ = picture.arrival;
    firstPts_ = picture.ptsMicros;
    leastPictureDelay_ = delay;
  }
  leastPictureDelay_ = std::min(leastPictureDelay_, delay);
  held_.push_back(std::move(picture));
}

Outcome<void> StreamRecording::take(SoundEvent event) {
  if (auto* config = std::get_if<AudioConfig>(&event)) {
    // A file has one configuration; sound of another one would be noise.
    if (soundConfig_ && *soundConfig_ != *config) {
      timeline_.reset();
      return {};
    }
    soundConfig_ = *config;
    timeline_.emplace(config->sampleRate);
  } else if (timeline_) {
    std::ranges::move(timeline_->add(std::move(std::get<SoundPacket>(event))),
                      std::back_inserter(heldSound_));
  }
  return tick(Clock::now());
}

Outcome<void> StreamRecording::tick(Clock::time_point now) {
  if (!firstArrival_ || !config_ || !size_) return {};
  const bool isPatient = now < *firstArrival_ + patience;
  const bool awaitsSound = sound_ == Sound::wanted && !soundConfig_ && isPatient;
  if (!muxer_ && !awaitsSound)
    if (auto created = create(); !created) return created;
  if (muxer_)
    if (auto written = writeHeld(); !written) return written;
  return isPatient ? Outcome<void>() : writeSound();
}

Outcome<void> StreamRecording::create() {
  auto created =
      Muxer::create(path_, *config_, *size_, sound_ == Sound::wanted ? soundConfig_ : std::nullopt);
  if (!created) return std::unexpected(created.error());
  muxer_ = std::move(*created);
  return {};
}

Outcome<void> StreamRecording::writeHeld() {
  for (auto& picture : held_) {
    bytes_ += picture.data.size();
    if (auto written = muxer_->write(std::move(picture)); !written) return written;
  }
  held_.clear();
  return {};
}

Outcome<void> StreamRecording::writeSound() {
  if (!muxer_->hasSound()) {
    heldSound_.clear();
    return {};
  }
  if (!zero_)
    zero_ = Clock::time_point(
        leastPictureDelay_ + std::chrono::microseconds(static_cast<std::int64_t>(firstPts_ % (1ULL << 52U))));
  for (const auto& sound : heldSound_) {
    if (sound.begin < *zero_) continue;
    bytes_ += sound.packet.data.size();
    ++soundPackets_;
    const auto length = SoundTimeline(soundConfig_->sampleRate).packetLength();
    if (auto written = muxer_->writeSound(sound.packet.data, sound.begin - *zero_, length); !written)
      return written;
  }
  heldSound_.clear();
  return {};
}

Outcome<std::uint64_t> StreamRecording::finish() {
  if (!firstArrival_ || !config_ || !size_)
    return failed(ExitCode::failure, "no picture came, so no file was written");
  if (timeline_) std::ranges::move(timeline_->flush(), std::back_inserter(heldSound_));
  if (!muxer_)
    if (auto created = create(); !created) return std::unexpected(created.error());
  if (auto written = writeHeld(); !written) return std::unexpected(written.error());
  if (auto written = writeSound(); !written) return std::unexpected(written.error());
  if (auto finished = muxer_->finish(Clock::now() - *firstArrival_); !finished)
    return std::unexpected(finished.error());
  return muxer_->pictures();
}

}  // namespace quorl::client
