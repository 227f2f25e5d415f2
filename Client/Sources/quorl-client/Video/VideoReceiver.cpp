// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Video/VideoReceiver.h>

#include <array>

#include <QuorlKit/Protocol/MediaPackets.h>
#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Video/DecoderConfig.h>

namespace quorl::client {
namespace {

constexpr std::uint32_t onlyStream = 1;
constexpr std::size_t maxEarlyPictures = 64;

std::string adviceFor(const WireError& error) {
  if (error.code == "stream.content")
    return "The host is not allowed to capture its screen: check its permissions.";
  if (error.code == "stream.target") return "'quorl_client info' lists displays, windows and applications.";
  if (error.code == "stream.limit") return "Stop another stream of this session first.";
  return {};
}

}  // namespace

Outcome<std::unique_ptr<VideoReceiver>> VideoReceiver::start(Session& session, StreamTarget target,
                                                             const StreamConfig& config,
                                                             VideoTransport transport,
                                                             const std::optional<PointSize>& view) {
  std::unique_ptr<VideoReceiver> receiver(new VideoReceiver(session, onlyStream));
  if (transport == VideoTransport::udp)
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
    if (!events_.empty()) {
      std::optional<VideoEvent> event(std::move(events_.front()));
      events_.pop_front();
      return event;
    }
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
    if (auto packet = VideoPacket::decode(frame.payload); packet && packet->streamID == streamID_)
      handlePacket(std::move(*packet));
    return {};
  }
  if (const auto decoded = session_.decodeControl(frame)) return handleControl(*decoded);
  if (frame.type != FrameType::control && onFrame) onFrame(frame);
  return {};
}

Outcome<void> VideoReceiver::handleControl(const ControlMessage& control) {
  if (const auto* started = std::get_if<message::StreamStarted>(&control);
      started != nullptr && started->_0.streamID == streamID_) {
    events_.emplace_back(started->_0);
    return {};
  }
  if (const auto* error = std::get_if<message::Error>(&control);
      error != nullptr && error->_0.code.starts_with("stream."))
    return failed(ExitCode::failure,
                  fmt::format("the host cannot show it: {} ({})", printable(error->_0.message),
                              printable(error->_0.code)),
                  adviceFor(error->_0));
  if (onControl) onControl(control);
  return {};
}

void VideoReceiver::handlePacket(VideoPacket packet) {
  videoBytes_ += packet.data.size();
  if (!packet.flags.contains(VideoPacketFlags::codecConfig)) {
    deliver({packet.flags.contains(VideoPacketFlags::keyframe), packet.ptsMicros, std::move(packet.data),
             Clock::now()});
    return;
  }
  const auto codec = codecOfConfigRecord(packet.data);
  if (!codec) return;
  hasConfig_ = true;
  events_.emplace_back(DecoderConfig{std::move(packet.data), *codec});
  for (auto& picture : early_) events_.emplace_back(std::move(picture));
  early_.clear();
}

void VideoReceiver::deliver(EncodedPicture picture) {
  if (hasConfig_)
    events_.emplace_back(std::move(picture));
  else if (early_.size() < maxEarlyPictures)
    early_.push_back(std::move(picture));
}

Outcome<void> VideoReceiver::drainDatagrams() {
  const auto now = Clock::now();
  std::size_t size = 0;
  while (const auto* bytes = datagramReader_->next(size))
    if (auto performed = perform(datagramVideo_.accept(ByteView(bytes, size), now)); !performed)
      return performed;
  return perform(datagramVideo_.tick(now));
}

Outcome<void> VideoReceiver::perform(DatagramVideo::Actions actions) {
  for (auto& packet : actions.pictures)
    if (packet.streamID == streamID_) handlePacket(std::move(packet));
  if (!actions.needsKeyframe) return {};
  ++keyframeRequests_;
  lastKeyframeRequest_ = Clock::now();
  return session_.send(ControlMessage(message::RequestKeyframe{streamID_}));
}

Outcome<void> VideoReceiver::requestKeyframe() {
  const auto now = Clock::now();
  if (lastKeyframeRequest_ && now < *lastKeyframeRequest_ + DatagramVideo::repeatAfter) return {};
  ++keyframeRequests_;
  lastKeyframeRequest_ = now;
  return session_.send(ControlMessage(message::RequestKeyframe{streamID_}));
}

Outcome<void> VideoReceiver::stop() {
  return session_.send(ControlMessage(message::StopStream{streamID_}));
}

}  // namespace quorl::client
