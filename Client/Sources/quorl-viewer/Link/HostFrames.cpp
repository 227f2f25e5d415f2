// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/HostFrames.h>

#include <cmath>
#include <utility>
#include <vector>

#include <QuorlKit/Protocol/MediaPackets.h>

namespace quorl::viewer {
namespace {

constexpr std::size_t maxSoundPacket = 65'536;
constexpr std::size_t maxCookie = 4'096;

bool isPlausible(const AudioConfig& config) {
  return std::isfinite(config.sampleRate) && config.sampleRate >= 8'000 && config.sampleRate <= 192'000 &&
         config.channels >= 1 && config.channels <= 8 && config.magicCookie.size() <= maxCookie;
}

// Cuts before the first byte of a character (UTF-8).
void cut(std::string& text) {
  if (text.size() <= HostFrames::maxText) return;
  auto end = HostFrames::maxText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  text.resize(end);
}

template <class Element>
void cut(std::vector<Element>& list) {
  if (list.size() > HostFrames::maxListed) list.resize(HostFrames::maxListed);
}

void bound(HostState& state) {
  cut(state.displays);
  cut(state.windows);
  cut(state.apps);
  for (auto& display : state.displays) cut(display.name);
  for (auto& window : state.windows) {
    cut(window.title);
    cut(window.appName);
  }
  for (auto& app : state.apps) cut(app.name);
}

void bound(ControlMessage& control) {
  if (auto* state = std::get_if<message::HostState>(&control)) bound(state->_0);
  if (auto* agents = std::get_if<message::AgentList>(&control)) {
    cut(agents->_0);
    for (auto& agent : agents->_0) cut(agent.name);
  }
  if (auto* services = std::get_if<message::ServiceList>(&control)) cut(services->_0);
}

}  // namespace

bool HostFrames::isAcceptable(const Frame& frame) {
  if (frame.payload.size() <= maxMessage) return true;
  const auto name = ControlCoder::judge(frame.payload);
  return name && *name == message::Clipboard::key;
}

void HostFrames::take(const Frame& frame, Clock::time_point now) {
  if (frame.type == FrameType::video) {
    if (auto packet = VideoPacket::decode(frame.payload)) return streams_.take(std::move(*packet), now);
    return ignore();
  }
  if (frame.type == FrameType::audio) return takeSound(frame, now);
  // Terminal output and files have not been asked for.
  ignore();
}

void HostFrames::takeSound(const Frame& frame, Clock::time_point now) {
  if (!hasSound_ || frame.payload.size() > maxSoundPacket) return ignore();
  auto packet = AudioPacket::decode(frame.payload);
  if (!packet) return ignore();
  listener_.onSound(client::SoundPacket{packet->ptsMicros, std::move(packet->data), now});
}

void HostFrames::takeSoundConfig(AudioConfig config) {
  if (!isPlausible(config)) return ignore();
  hasSound_ = true;
  listener_.onSound(std::move(config));
}

void HostFrames::take(ControlMessage control, std::size_t encodedSize) {
  if (streams_.take(control)) return;
  if (auto* config = std::get_if<message::AudioConfig>(&control))
    return takeSoundConfig(std::move(config->_0));
  // An acknowledgement.
  if (std::holds_alternative<message::AudioControl>(control)) return;
  if (auto* fit = std::get_if<message::FitState>(&control)) {
    const auto key = streams_.keyOf(fit->streamID);
    if (!key) return;
    fit->streamID = *key;
  }
  bound(control);
  listener_.onMessage(control, encodedSize);
}

}  // namespace quorl::viewer
