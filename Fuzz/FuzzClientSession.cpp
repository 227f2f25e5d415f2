// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes as the host's side of a session: frames, control messages, streams, sound and datagrams of a
// viewer.
#include <QuorlKit/Foundation/Check.h>
#include <quorl-client/Video/DatagramVideo.h>
#include <quorl-viewer/Link/HostFrames.h>
#include <quorl-viewer/Link/LinkStreams.h>

#include <algorithm>

using namespace quorl;
using namespace quorl::viewer;

namespace {

constexpr StreamKey shownKey = 7;
constexpr StreamKey hiddenKey = 9;

class CheckingListener final : public LinkListener {
 public:
  std::size_t payload = 0;  // delivered

  void onStatus(const LinkStatus&) override {}
  void onHost(const DeviceInfo&) override {}
  void onMessage(const ControlMessage& message, std::size_t) override {
    if (const auto* state = std::get_if<message::HostState>(&message)) {
      QUORL_CHECK(state->_0.windows.size() <= HostFrames::maxListed, "lists are cut");
      for (const auto& window : state->_0.windows)
        QUORL_CHECK(window.title.size() <= HostFrames::maxText, "titles are cut");
    }
    QUORL_CHECK(!std::holds_alternative<message::StreamStarted>(message), "streams are handled elsewhere");
  }
  void onStreamStarted(StreamKey stream, const StreamStarted& started) override {
    QUORL_CHECK(stream == shownKey || stream == hiddenKey, "only wanted streams start");
    QUORL_CHECK(started.pixelWidth > 0 && started.pixelWidth <= 16'384, "the width is possible");
    QUORL_CHECK(started.pixelHeight > 0 && started.pixelHeight <= 16'384, "the height is possible");
  }
  void onStreamFailed(StreamKey, const client::ClientError& error) override {
    QUORL_CHECK(!error.what.empty(), "a failure has a text");
    QUORL_CHECK(std::ranges::none_of(error.what, [](unsigned char c) { return c < ' '; }),
                "texts are printable");
  }
  void onStreamEnded(StreamKey, StreamEnd) override {}
  void onDecoderConfig(StreamKey, client::DecoderConfig config) override {
    hasConfig_ = true;
    payload += config.record.size();
  }
  void onPicture(StreamKey stream, client::EncodedPicture picture) override {
    QUORL_CHECK(hasConfig_, "a configuration comes before the pictures");
    QUORL_CHECK(stream == shownKey, "a hidden stream delivers no picture");
    payload += picture.data.size();
  }
  void onSound(client::SoundEvent event) override {
    if (const auto* packet = std::get_if<client::SoundPacket>(&event)) payload += packet->data.size();
  }
  void onRoundTrip(Clock::duration, const LinkCounters&) override {}
  void onClipboardSent(const std::optional<client::ClientError>&) override {}

 private:
  bool hasConfig_ = false;
};

class Viewer {
 public:
  Viewer() {
    streams_.start(shownKey, {}, now_);
    streams_.start(hiddenKey, {.target = {}, .config = {}, .view = {}, .isHidden = true}, now_);
    streams_.connected(now_);
  }

  void takeStream(ByteView bytes, std::size_t cut) {
    Deframer deframer;
    for (; !bytes.empty(); bytes = bytes.subspan(std::min(cut, bytes.size()))) {
      const auto frames = deframer.feed(bytes.first(std::min(cut, bytes.size())));
      if (!frames) return;
      for (const auto& frame : *frames) take(frame);
      pass();
    }
  }
  // Each datagram follows one byte with its length.
  void takeDatagrams(ByteView bytes) {
    while (!bytes.empty()) {
      const std::size_t length = std::min<std::size_t>(bytes[0], bytes.size() - 1);
      perform(video_.accept(bytes.subspan(1, length), now_));
      bytes = bytes.subspan(1 + length);
      pass();
    }
  }
  std::size_t payload() const { return listener_.payload; }

 private:
  void take(const Frame& frame) {
    if (frame.type != FrameType::control) return frames_.take(frame, now_);
    if (!HostFrames::isAcceptable(frame)) return frames_.ignore();
    if (auto message = ControlCoder::decode(frame.payload))
      frames_.take(std::move(*message), frame.payload.size());
  }
  void perform(client::DatagramVideo::Actions actions) {
    for (auto& packet : actions.pictures) streams_.take(std::move(packet), now_);
    if (actions.needsKeyframe) streams_.lose(now_);
  }
  void pass() {
    now_ += std::chrono::milliseconds(40);
    perform(video_.tick(now_));
    streams_.tick(now_);
  }

  CheckingListener listener_;
  LinkStreams streams_{listener_, [](const ControlMessage&) {}};
  HostFrames frames_{listener_, streams_};
  client::DatagramVideo video_;
  Clock::time_point now_{std::chrono::hours(1)};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  // Two bytes choose where the connection's bytes end and how they are cut.
  const ByteView bytes(data + 2, size - 2);
  const std::size_t streamSize = data[0] == 0xFF ? bytes.size() : bytes.size() * data[0] / 0xFF;
  Viewer viewer;
  viewer.takeStream(bytes.first(streamSize), std::size_t{1} + data[1] * std::size_t{8});
  viewer.takeDatagrams(bytes.subspan(streamSize));
  QUORL_CHECK(viewer.payload() <= size, "nothing is delivered twice");
  return 0;
}
