// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/Frames.h>

#include <algorithm>
#include <limits>

#include <fmt/format.h>

#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Protocol/Bytes.h>
#include <QuorlKit/WireProtocol.h>

namespace quorl {

std::optional<FrameType> frameTypeFromByte(std::uint8_t byte) {
  const auto type = static_cast<FrameType>(byte);
  switch (type) {
    case FrameType::control:
    case FrameType::ping:
    case FrameType::pong:
    case FrameType::video:
    case FrameType::audio:
    case FrameType::input:
    case FrameType::terminal:
    case FrameType::file:
      return type;
  }
  return std::nullopt;
}

std::array<std::uint8_t, frameHeaderSize> frameHeader(FrameType type, std::size_t payloadLength) {
  QUORL_CHECK(payloadLength <= std::numeric_limits<std::uint32_t>::max(),
              "a payload's length fits in 32 bits");
  const auto byte = [payloadLength](unsigned shift) {
    return static_cast<std::uint8_t>(payloadLength >> shift);
  };
  return {static_cast<std::uint8_t>(type), byte(24), byte(16), byte(8), byte(0)};
}

Bytes Frame::encoded() const {
  const auto header = frameHeader(type, payload.size());
  ByteWriter writer(header.size() + payload.size());
  writer.putBytes(header);
  writer.putBytes(payload);
  return writer.take();
}

std::string FrameError::description() const {
  switch (kind) {
    case Kind::unknownType:
      return fmt::format("unknownType({})", value);
    case Kind::oversized:
      return fmt::format("oversized({})", value);
  }
  return {};
}

std::expected<std::vector<Frame>, FrameError> Deframer::feed(ByteView bytes) {
  if (failure_) return std::unexpected(*failure_);
  std::vector<Frame> frames;
  for (;;) {
    if (headerFill_ < frameHeaderSize) {
      bytes = bytes.subspan(takeHeader(bytes));
      if (headerFill_ < frameHeaderSize) return frames;
      failure_ = judgeHeader();
      if (failure_) return std::unexpected(*failure_);
    }
    bytes = bytes.subspan(takePayload(bytes));
    if (payload_.size() < length_) return frames;
    frames.push_back({static_cast<FrameType>(header_[0]), std::move(payload_)});
    payload_ = {};
    headerFill_ = 0;
  }
}

std::size_t Deframer::takeHeader(ByteView bytes) {
  const std::size_t count = std::min(bytes.size(), frameHeaderSize - headerFill_);
  std::copy_n(bytes.begin(), count, header_.begin() + static_cast<std::ptrdiff_t>(headerFill_));
  headerFill_ += count;
  return count;
}

std::optional<FrameError> Deframer::judgeHeader() {
  if (!frameTypeFromByte(header_[0])) return FrameError::unknownType(header_[0]);
  length_ = 0;
  for (std::size_t index = 1; index < frameHeaderSize; ++index) length_ = length_ << 8 | header_[index];
  if (length_ > WireProtocol::maxFrameLength) return FrameError::oversized(length_);
  return std::nullopt;
}

std::size_t Deframer::takePayload(ByteView bytes) {
  const std::size_t count = std::min<std::size_t>(bytes.size(), length_ - payload_.size());
  const std::size_t filled = payload_.size() + count;
  // Grown by doubling, so that the copies of growing stay linear, but never beyond what the frame will need.
  if (filled > payload_.capacity())
    payload_.reserve(std::min<std::size_t>(length_, std::max(filled, payload_.capacity() * 2)));
  payload_.insert(payload_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
  return count;
}

}  // namespace quorl
