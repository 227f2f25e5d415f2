// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/HostFrames.h>

#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include <QuorlKit/Protocol/MediaPackets.h>

#include <quorl-client/Base/Shorten.h>

namespace quorl::viewer {
namespace {

constexpr std::size_t maxSoundPacket = 65'536;
constexpr std::size_t maxCookie = 4'096;

bool isPlausible(const AudioConfig& config) {
  return std::isfinite(config.sampleRate) && config.sampleRate >= 8'000 && config.sampleRate <= 192'000 &&
         config.channels >= 1 && config.channels <= 8 && config.magicCookie.size() <= maxCookie;
}

void cut(std::string& text) {
  client::shorten(text, HostFrames::maxText);
}

void cut(std::optional<std::string>& text) {
  if (text) cut(*text);
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
    cut(window.appBundleID);
  }
  for (auto& app : state.apps) {
    cut(app.name);
    cut(app.bundleID);
  }
}

void bound(AgentDescriptor& agent) {
  cut(agent.name);
  cut(agent.detail);
  cut(agent.bundleID);
  cut(agent.preview);
  cut(agent.projectPath);
  agent.url.reset();  // of rows that no window shows
}

void bound(AgentEvent& event) {
  if (auto* updated = std::get_if<agentEvent::Updated>(&event)) bound(updated->_0);
  if (auto* attention = std::get_if<agentEvent::Attention>(&event)) {
    cut(attention->title);
    cut(attention->body);
  }
}

void bound(ControlMessage& control) {
  if (auto* state = std::get_if<message::HostState>(&control)) bound(state->_0);
  if (auto* agents = std::get_if<message::AgentList>(&control)) {
    cut(agents->_0);
    for (auto& agent : agents->_0) bound(agent);
  }
  if (auto* event = std::get_if<message::AgentEvent>(&control)) bound(event->_0);
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
