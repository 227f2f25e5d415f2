// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Sound/SoundReceiver.h>

#include <utility>

#include <QuorlKit/Protocol/MediaPackets.h>

namespace quorl::client {

Outcome<void> SoundReceiver::subscribe() {
  return session_.send(ControlMessage(message::AudioControl{.enabled = true}));
}

Outcome<void> SoundReceiver::unsubscribe() {
  return session_.send(ControlMessage(message::AudioControl{.enabled = false}));
}

void SoundReceiver::take(const Frame& frame) {
  if (frame.type != FrameType::audio || !isConfigured_) return;
  if (auto packet = AudioPacket::decode(frame.payload))
    events_.emplace_back(SoundPacket{packet->ptsMicros, std::move(packet->data), Clock::now()});
}

void SoundReceiver::take(const ControlMessage& control) {
  const auto* config = std::get_if<message::AudioConfig>(&control);
  if (config == nullptr) return;
  isConfigured_ = true;
  events_.emplace_back(config->_0);
}

std::optional<SoundEvent> SoundReceiver::next() {
  if (events_.empty()) return std::nullopt;
  std::optional<SoundEvent> event(std::move(events_.front()));
  events_.pop_front();
  return event;
}

Outcome<std::optional<SoundEvent>> SoundReceiver::next(Deadline deadline) {
  for (;;) {
    while (auto frame = session_.takeFrame()) {
      if (frame->type == FrameType::audio)
        take(*frame);
      else if (const auto control = session_.decodeControl(*frame))
        take(*control);
    }
    if (!events_.empty() || Clock::now() >= deadline) return next();
    const auto ready = session_.wait(deadline);
    if (!ready) return std::unexpected(ready.error());
  }
}

}  // namespace quorl::client
