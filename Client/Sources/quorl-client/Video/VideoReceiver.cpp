// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Video/VideoReceiver.h>

#include <array>

#include <QuorlKit/Protocol/MediaPackets.h>

namespace quorl::client {
namespace {

constexpr std::uint32_t onlyStream = 1;

}  // namespace

Outcome<std::unique_ptr<VideoReceiver>> VideoReceiver::start(Session& session, StreamTarget target,
                                                             const StreamConfig& config,
                                                             VideoTransport transport,
                                                             const std::optional<PointSize>& view) {
  std::unique_ptr<VideoReceiver> receiver(new VideoReceiver(session, onlyStream));
  if (transport == VideoTransport::udp && session.carriesDatagrams())
    if (auto opened = receiver->openDatagrams(); !opened) return std::unexpected(opened.error());
  StartStream request;
  request.streamID = onlyStream;
  request.target = std::move(target);
  request.config = config;
  if (view) {
    request.clientPointWidth = view->width;
    request.clientPointHeight = view->height;
  }
  if (auto sent = session.send(ControlMessage(message::StartStream{std::move(request)})); !sent)
    return std::unexpected(sent.error());
  return receiver;
}

Outcome<void> VideoReceiver::openDatagrams() {
  auto opened = openDatagramSocket(session_.descriptor());
  if (!opened) return std::unexpected(opened.error());
  datagrams_ = std::move(*opened);
  datagramReader_.emplace(datagrams_.descriptor.get(), session_.descriptor());
  return session_.send(ControlMessage(message::VideoTransport{datagrams_.port}));
}

Outcome<std::optional<VideoEvent>> VideoReceiver::next(Deadline deadline) {
  for (;;) {
    while (auto frame = session_.takeFrame())
      if (auto handled = handleFrame(*frame); !handled) return std::unexpected(handled.error());
    if (datagramReader_)
      if (auto drained = drainDatagrams(); !drained) return std::unexpected(drained.error());
    if (auto event = feed_.next()) return event;
    if (Clock::now() >= deadline) return std::optional<VideoEvent>();
    const auto tick = datagramReader_ ? datagramVideo_.nextTick() : std::nullopt;
    const std::array<int, 1> others{datagrams_.descriptor.get()};
    const auto count = static_cast<std::size_t>(datagramReader_ ? 1 : 0);
    const auto ready =
        session_.wait(tick ? std::min(*tick, deadline) : deadline, std::span(others).first(count));
    if (!ready) return std::unexpected(ready.error());
  }
}

Outcome<void> VideoReceiver::handleFrame(const Frame& frame) {
  if (frame.type == FrameType::video) {
    if (auto packet = VideoPacket::decode(frame.payload)) feed_.take(std::move(*packet), Clock::now());
    return {};
  }
  if (const auto decoded = session_.decodeControl(frame)) return handleControl(*decoded);
  if (frame.type != FrameType::control && onFrame) onFrame(frame);
  return {};
}

Outcome<void> VideoReceiver::handleControl(const ControlMessage& control) {
  if (const auto* started = std::get_if<message::StreamStarted>(&control);
      started != nullptr && started->_0.streamID == streamID()) {
    feed_.take(started->_0);
    return {};
  }
  if (const auto* error = std::get_if<message::Error>(&control);
      error != nullptr && error->_0.code.starts_with("stream."))
    return std::unexpected(streamFailure(error->_0));
  if (onControl) onControl(control);
  return {};
}

Outcome<void> VideoReceiver::drainDatagrams() {
  const auto now = Clock::now();
  std::size_t size = 0;
  while (const auto* bytes = datagramReader_->next(size))
    if (auto performed = perform(datagramVideo_.accept(ByteView(bytes, size), now), now); !performed)
      return performed;
  return perform(datagramVideo_.tick(now), now);
}

Outcome<void> VideoReceiver::perform(DatagramVideo::Actions actions, Clock::time_point now) {
  bool hasRecovered = false;
  for (auto& packet : actions.pictures) {
    hasRecovered = hasRecovered || packet.flags.contains(VideoPacketFlags::keyframe);
    feed_.take(std::move(packet), now);
  }
  if (!actions.needsKeyframe) return {};
  if (!hasRecovered) feed_.lose();
  if (!feed_.asksForKeyframe(now)) return {};
  return session_.send(ControlMessage(message::RequestKeyframe{streamID()}));
}

Outcome<void> VideoReceiver::requestKeyframe() {
  if (!feed_.asksForKeyframe(Clock::now())) return {};
  return session_.send(ControlMessage(message::RequestKeyframe{streamID()}));
}

Outcome<void> VideoReceiver::stop() {
  return session_.send(ControlMessage(message::StopStream{streamID()}));
}

}  // namespace quorl::client
