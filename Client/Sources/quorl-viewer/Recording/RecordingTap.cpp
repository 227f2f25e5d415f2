// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Recording/RecordingTap.h>

#include <utility>

namespace quorl::viewer {

void RecordingTap::record(Stream stream, std::shared_ptr<StreamRecorder> recorder) {
  // The old one is released without the lock, because it may wait for its thread.
  const std::lock_guard lock(mutex_);
  recorded_ = stream;
  recorder_.swap(recorder);
  if (!recorder_) return;
  if (known_ == stream && started_) recorder_->take(client::VideoEvent(*started_));
  if (known_ == stream && config_) recorder_->take(client::VideoEvent(*config_));
  if (sound_) recorder_->take(client::SoundEvent(*sound_));
}

void RecordingTap::watch(Stream stream) {
  const std::lock_guard lock(mutex_);
  known_ = stream;
  started_.reset();
  config_.reset();
}

void RecordingTap::take(Stream stream, const client::VideoEvent& event) {
  const std::lock_guard lock(mutex_);
  if (const auto* started = std::get_if<StreamStarted>(&event)) {
    if (stream == known_) started_ = *started;
  } else if (const auto* config = std::get_if<client::DecoderConfig>(&event); config && stream == known_) {
    config_ = *config;
  }
  if (recorder_ && stream == recorded_) recorder_->take(event);
}

void RecordingTap::take(Stream stream, const client::EncodedPicture& picture) {
  const std::lock_guard lock(mutex_);
  if (recorder_ && stream == recorded_) recorder_->take(client::VideoEvent(picture));
}

void RecordingTap::take(const client::SoundEvent& event) {
  const std::lock_guard lock(mutex_);
  if (const auto* config = std::get_if<AudioConfig>(&event)) sound_ = *config;
  if (recorder_) recorder_->take(event);
}

}  // namespace quorl::viewer
