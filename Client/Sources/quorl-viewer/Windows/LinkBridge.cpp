// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/LinkBridge.h>

#include <QMetaObject>

namespace quorl::viewer {

template <class Action>
void LinkBridge::onGUI(Action action) {
  QMetaObject::invokeMethod(&gui_, std::move(action), Qt::QueuedConnection);
}

template <class... Parameters, class... Values>
void LinkBridge::post(const std::function<void(Parameters...)>& handler, Values... values) {
  onGUI([&handler, ... values = std::move(values)] { handler(values...); });
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

void LinkBridge::onMessage(const ControlMessage& message, std::size_t encodedSize) {
  if (!messages_.admit(encodedSize)) return;
  onGUI([this, message, encodedSize] {
    messages_.done(encodedSize);
    handlers_.message(message);
  });
}

void LinkBridge::onStreamStarted(StreamKey stream, const StreamStarted& started) {
  tap_.take(stream, client::VideoEvent(started));
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
  const auto* packet = std::get_if<client::SoundPacket>(&event);
  const std::size_t size = packet != nullptr ? packet->data.size() : 0;
  // A configuration counts as a message: without it nothing is heard until the next one.
  auto& backlog = packet != nullptr ? sounds_ : messages_;
  if (!backlog.admit(size)) return;
  onGUI([this, &backlog, size, event = std::move(event)] {
    backlog.done(size);
    handlers_.sound(event);
  });
}

void LinkBridge::onRoundTrip(Clock::duration time, const LinkCounters& counters) {
  post(handlers_.roundTrip, time, counters);
}

void LinkBridge::onClipboardSent(const std::optional<client::ClientError>& error) {
  post(handlers_.clipboardSent, error);
}

}  // namespace quorl::viewer
