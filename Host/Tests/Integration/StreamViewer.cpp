// SPDX-License-Identifier: GPL-3.0-or-later
#include <Integration/StreamViewer.h>

#include <algorithm>
#include <utility>

#include <gtest/gtest.h>

#include <QuorlKit/Protocol/MediaPackets.h>

namespace quorl::test {

namespace {

constexpr StreamConfig config{
    .maxDimension = 4096, .maxFPS = 60, .codec = VideoCodec::h264, .quality = 0.8, .showsCursor = false};

}  // namespace

void StreamViewer::start(const StreamTarget& target, PointSize view) {
  StartStream request{.streamID = streamID, .target = target, .config = config};
  if (view.width > 0) {
    request.clientPointWidth = view.width;
    request.clientPointHeight = view.height;
  }
  client_.send(message::StartStream{request});
}

void StreamViewer::stop() {
  client_.send(message::StopStream{streamID});
}

void StreamViewer::send(const InputEvent& event) {
  client_.peer().write(Frame{FrameType::input, event.encoded()}.encoded());
}

void StreamViewer::fitToScreen(bool enabled) {
  client_.send(message::FitToScreen{streamID, enabled});
}

void StreamViewer::updateLongestSide(std::int64_t pixels) {
  StreamConfig changed = config;
  changed.maxDimension = pixels;
  client_.send(message::UpdateStream{{streamID, changed}});
}

std::optional<StreamViewer::Event> StreamViewer::eventIn(const Frame& frame) {
  if (frame.type != FrameType::control) return std::nullopt;
  const ControlMessage control = ControlCoder::decode(frame.payload).value();
  if (const auto* started = std::get_if<message::StreamStarted>(&control)) return started->_0;
  if (const auto* fit = std::get_if<message::FitState>(&control)) return *fit;
  if (const auto* error = std::get_if<message::Error>(&control)) return error->_0;
  return std::nullopt;
}

std::vector<client::DecodedPicture> StreamViewer::picturesIn(const Frame& frame) {
  if (frame.type != FrameType::video) return {};
  const auto packet = VideoPacketView::decode(frame.payload);
  if (!packet || packet->streamID != streamID) return {};
  if (!packet->flags.contains(VideoPacketFlags::codecConfig))
    return decoder_.decode(packet->data, packet->ptsMicros);
  EXPECT_TRUE(decoder_.configure(packet->data));
  return {};
}

// The host's periodic pushes arrive for as long as the link lives, so the stream has a deadline of its own.
std::optional<StreamViewer::Event> StreamViewer::nextEvent() {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (std::chrono::steady_clock::now() < end) {
    const auto frame = client_.nextFrame();
    if (!frame) return std::nullopt;
    picturesIn(*frame);  // later pictures build on it
    if (auto event = eventIn(*frame)) return event;
  }
  return std::nullopt;
}

std::optional<StreamStarted> StreamViewer::nextStarted() {
  while (const auto event = nextEvent()) {
    if (const auto* started = std::get_if<StreamStarted>(&*event)) return *started;
    if (std::holds_alternative<WireError>(*event)) return std::nullopt;
  }
  return std::nullopt;
}

std::optional<bool> StreamViewer::nextFit() {
  while (const auto event = nextEvent()) {
    if (const auto* fit = std::get_if<message::FitState>(&*event)) return fit->fitted;
    if (std::holds_alternative<WireError>(*event)) return std::nullopt;
  }
  return std::nullopt;
}

std::optional<WireError> StreamViewer::nextError() {
  while (const auto event = nextEvent())
    if (const auto* error = std::get_if<WireError>(&*event)) return *error;
  return std::nullopt;
}

bool StreamViewer::showsPicture(const std::function<bool(const client::DecodedPicture&)>& condition) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (std::chrono::steady_clock::now() < end) {
    const auto frame = client_.nextFrame();
    if (!frame) return false;
    if (std::ranges::any_of(picturesIn(*frame), condition)) return true;
  }
  return false;
}

}  // namespace quorl::test
