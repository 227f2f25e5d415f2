// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/OutgoingFrame.h>

#include <algorithm>

#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Protocol/Bytes.h>
#include <QuorlKit/WireProtocol.h>

namespace quorl {

namespace {

template <class Packet>
Bytes fixedFieldsOf(const Packet& packet) {
  static_assert(frameHeaderSize + Packet::fixedSize <= OutgoingFrame::maxPrefixSize);
  ByteWriter writer(Packet::fixedSize);
  packet.putFixedFields(writer);
  return writer.take();
}

}  // namespace

OutgoingFrame::OutgoingFrame(FrameType type, ByteView fixedFields, SharedBytes body)
    : body_(std::move(body)) {
  const std::size_t payloadSize = fixedFields.size() + this->body().size();
  QUORL_CHECK(payloadSize <= WireProtocol::maxFrameLength, "a payload of our own fits in a frame");
  const auto header = frameHeader(type, payloadSize);
  QUORL_CHECK(header.size() + fixedFields.size() <= maxPrefixSize, "the fixed fields fit in the prefix");
  std::ranges::copy(fixedFields, std::ranges::copy(header, prefix_.begin()).out);
  prefixSize_ = header.size() + fixedFields.size();
}

std::expected<OutgoingFrame, CodingError> OutgoingFrame::control(const ControlMessage& message) {
  auto json = ControlCoder::encode(message);
  if (!json) return std::unexpected(std::move(json.error()));
  if (json->size() > WireProtocol::maxFrameLength)
    return std::unexpected(CodingError{"the message is too long for a frame"});
  return raw(FrameType::control, shareBytes(std::move(*json)));
}

OutgoingFrame OutgoingFrame::video(const SharedVideoPacket& packet) {
  return {FrameType::video, fixedFieldsOf(packet), packet.data};
}

OutgoingFrame OutgoingFrame::audio(const SharedAudioPacket& packet) {
  return {FrameType::audio, fixedFieldsOf(packet), packet.data};
}

OutgoingFrame OutgoingFrame::terminal(const SharedTerminalPayload& payload) {
  return {FrameType::terminal, fixedFieldsOf(payload), payload.data};
}

OutgoingFrame OutgoingFrame::file(const SharedFileChunk& chunk) {
  return {FrameType::file, fixedFieldsOf(chunk), chunk.data};
}

OutgoingFrame OutgoingFrame::input(const InputEvent& event) {
  return {FrameType::input, event.encoded(), nullptr};
}

OutgoingFrame OutgoingFrame::raw(FrameType type, SharedBytes payload) {
  return {type, {}, std::move(payload)};
}

Bytes OutgoingFrame::encoded() const {
  Bytes bytes;
  bytes.reserve(size());
  for (const ByteView part : {prefix(), body()}) bytes.insert(bytes.end(), part.begin(), part.end());
  return bytes;
}

}  // namespace quorl
