// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/StreamClient.h>

#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Log/Log.h>

namespace quorl {

StreamClient::StreamClient(std::weak_ptr<StreamOutputSink> sink, std::uint32_t streamID)
    : sink_(std::move(sink)), streamID_(streamID) {}

void StreamClient::sendStarted(PixelSize size, const PointRect& contentRect) const {
  StreamStarted started;
  started.streamID = streamID_;
  started.pixelWidth = size.width;
  started.pixelHeight = size.height;
  started.contentRect = contentRect;
  send(message::StreamStarted{started});
}

void StreamClient::sendFitState(bool fitted) const {
  send(message::FitState{streamID_, fitted});
}

void StreamClient::sendStopped() const {
  send(message::Error{{"stream.stopped", fmt::format("stream {} stopped by host", streamID_)}});
}

void StreamClient::sendFailure(const WireError& error) const {
  Log::stream.error(fmt::format("stream {} failed: {}", streamID_, error.message));
  send(message::Error{{error.code, fmt::format("stream {}: {}", streamID_, error.message)}});
}

void StreamClient::sendConfiguration(SharedBytes record) const {
  if (auto sink = sink_.lock())
    sink->sendVideo(streamID_, VideoPacketFlags::codecConfig, 0, std::move(record), Droppable::no);
}

void StreamClient::sendPicture(const VideoEncoder::EncodedChunk& chunk) const {
  if (auto sink = sink_.lock())
    sink->sendVideo(streamID_, chunk.isKeyframe ? VideoPacketFlags::keyframe : VideoPacketFlags{},
                    chunk.ptsMicros, chunk.data, chunk.isKeyframe ? Droppable::no : Droppable::yes);
}

std::optional<PictureBudget> StreamClient::admit(double wantedRate, std::function<void()> whenOpen) const {
  const auto sink = sink_.lock();
  if (!sink) return std::nullopt;
  return sink->admitPicture(
      {.streamID = streamID_, .wantedRate = wantedRate, .whenOpen = std::move(whenOpen)});
}

void StreamClient::send(ControlMessage message) const {
  if (auto sink = sink_.lock()) sink->sendControl(std::move(message));
}

}  // namespace quorl
