// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Sound/SoundPlayback.h>

#include <utility>
#include <variant>

namespace quorl::viewer {

using client::Clock;

SoundPlayback::SoundPlayback(std::unique_ptr<SoundOutput> output, Handlers handlers)
    : handlers_(std::move(handlers)), output_(std::move(output)) {}

SoundPlayback::~SoundPlayback() {
  output_->close();
}

void SoundPlayback::start() {
  isStarted_ = true;
  if (!isMuted_ && handlers_.wantSound) handlers_.wantSound(true);
}

void SoundPlayback::stop() {
  isStarted_ = false;
  isConfigured_ = false;
  closeOutput();
}

void SoundPlayback::setMuted(bool isMuted) {
  if (std::exchange(isMuted_, isMuted) == isMuted) return;
  if (isMuted) {
    isConfigured_ = false;
    closeOutput();
  }
  // Also without a connection: the next one subscribes to what is wanted then.
  if (handlers_.wantSound) handlers_.wantSound(!isMuted);
}

void SoundPlayback::take(const client::SoundEvent& event) {
  // Packets of before the host knew may still arrive.
  if (!isStarted_ || isMuted_) return;
  if (const auto* config = std::get_if<AudioConfig>(&event))
    configure(*config);
  else if (isConfigured_)
    play(std::get<client::SoundPacket>(event));
}

void SoundPlayback::configure(const AudioConfig& config) {
  const auto configured = decoder_.configure(config);
  isConfigured_ = configured.has_value();
  if (!configured) {
    closeOutput();
    if (handlers_.failed) handlers_.failed(configured.error());
    return;
  }
  const std::lock_guard lock(mutex_);
  if (buffer_) buffer_->restart();
}

void SoundPlayback::play(const client::SoundPacket& packet) {
  const auto sound = decoder_.decode(packet.data);
  if (sound.samples.empty()) return;
  const SoundFormat format{sound.sampleRate, sound.channels};
  if (!format.isPlayable()) return;
  if (format_ != format) openOutput(format);
  {
    const std::lock_guard lock(mutex_);
    buffer_->push(sound.samples, packet.ptsMicros, packet.arrival);
  }
  output_->wake();
}

void SoundPlayback::openOutput(SoundFormat format) {
  closeOutput();
  {
    const std::lock_guard lock(mutex_);
    buffer_.emplace(format);
  }
  format_ = format;
  output_->open(format, {.source =
                             [this](std::span<std::int16_t> samples, Clock::duration delay) {
                               const std::lock_guard lock(mutex_);
                               const auto pulled = buffer_->pull(samples, delay, Clock::now());
                               return SoundOutput::Filled{pulled.samples,
                                                          pulled.kind == JitterBuffer::Pull::idle
                                                              ? SoundOutput::Next::pause
                                                              : SoundOutput::Next::more};
                             },
                         .failed = handlers_.failed,
                         .playing = nullptr});
}

void SoundPlayback::closeOutput() {
  if (!std::exchange(format_, std::nullopt)) return;
  output_->close();
  const std::lock_guard lock(mutex_);
  buffer_.reset();
}

void SoundPlayback::setPictureAge(Clock::duration age) {
  const std::lock_guard lock(mutex_);
  if (buffer_) buffer_->setPictureAge(age);
}

std::optional<JitterBuffer::Report> SoundPlayback::report(Clock::time_point now) const {
  const std::lock_guard lock(mutex_);
  if (!buffer_) return std::nullopt;
  return buffer_->report(now);
}

}  // namespace quorl::viewer
