// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/LinkBridge.h>

#include <QMetaObject>

namespace quorl::viewer {

template <class... Parameters, class... Values>
void LinkBridge::post(const std::function<void(Parameters...)>& handler, Values... values) {
  QMetaObject::invokeMethod(
      &gui_, [&handler, ... values = std::move(values)] { handler(values...); }, Qt::QueuedConnection);
}

void LinkBridge::setDecoder(StreamKey stream, std::shared_ptr<DecodeThread> decoder) {
  // The old one is destroyed without the lock, because that waits for its thread.
  const std::lock_guard lock(mutex_);
  auto& place = decoders_[stream];
  std::swap(place, decoder);
  if (!place) decoders_.erase(stream);
}

std::shared_ptr<DecodeThread> LinkBridge::decoderOf(StreamKey stream) {
  const std::lock_guard lock(mutex_);
  const auto found = decoders_.find(stream);
  return found == decoders_.end() ? nullptr : found->second;
}

void LinkBridge::onStatus(const LinkStatus& status) {
  post(handlers_.status, status);
}

void LinkBridge::onHost(const DeviceInfo& host) {
  post(handlers_.host, host);
}

void LinkBridge::onMessage(const ControlMessage& message) {
  post(handlers_.message, message);
}

void LinkBridge::onStreamStarted(StreamKey stream, const StreamStarted& started) {
  tap_.take(stream, client::VideoEvent(started));
  post(handlers_.streamStarted, stream, started);
}

void LinkBridge::onStreamFailed(StreamKey stream, const client::ClientError& error) {
  post(handlers_.streamFailed, stream, error);
}

void LinkBridge::onDecoderConfig(StreamKey stream, client::DecoderConfig config) {
  tap_.take(stream, client::VideoEvent(config));
  if (const auto decoder = decoderOf(stream)) decoder->configure(std::move(config));
}

void LinkBridge::onPicture(StreamKey stream, client::EncodedPicture picture) {
  tap_.take(stream, picture);
  if (const auto decoder = decoderOf(stream)) decoder->decode(std::move(picture));
}

void LinkBridge::onSound(client::SoundEvent event) {
  tap_.take(event);
  post(handlers_.sound, std::move(event));
}

void LinkBridge::onRoundTrip(Clock::duration time, const LinkCounters& counters) {
  post(handlers_.roundTrip, time, counters);
}

void LinkBridge::onClipboardSent(const std::optional<client::ClientError>& error) {
  post(handlers_.clipboardSent, error);
}

}  // namespace quorl::viewer
