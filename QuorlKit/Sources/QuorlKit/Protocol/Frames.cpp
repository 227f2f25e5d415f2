// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/Frames.h>

#include <algorithm>
#include <limits>
#include <utility>

#include <fmt/format.h>

#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Protocol/Bytes.h>
#include <QuorlKit/WireProtocol.h>

namespace quorl {

namespace {

// Most frames arrive in a few reads. Up to this size the buffer grows in large steps, rarely twice.
constexpr std::size_t smallFrame = 1 << 20;
constexpr std::size_t smallGrowth = 20;

}  // namespace

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

void Deframer::Header::take(ByteView& input) {
  const std::size_t count = std::min(input.size(), frameHeaderSize - fill);
  std::copy_n(input.begin(), count, bytes.begin() + static_cast<std::ptrdiff_t>(fill));
  fill += count;
  input = input.subspan(count);
}

std::uint32_t Deframer::Header::length() const {
  std::uint32_t length = 0;
  for (std::size_t index = 1; index < frameHeaderSize; ++index) length = length << 8 | bytes[index];
  return length;
}

std::optional<FrameError> Deframer::Header::fault() const {
  if (!frameTypeFromByte(bytes[0])) return FrameError::unknownType(bytes[0]);
  if (length() > WireProtocol::maxFrameLength) return FrameError::oversized(length());
  return std::nullopt;
}

std::expected<std::vector<Frame>, FrameError> Deframer::feed(ByteView bytes) {
  if (const auto error = judge(bytes)) return std::unexpected(*error);
  std::vector<Frame> frames;
  while (!bytes.empty())
    if (auto frame = next(bytes)) frames.push_back(std::move(*frame));
  return frames;
}

std::optional<FrameError> Deframer::judge(ByteView bytes) {
  Header header = header_;
  std::size_t taken = payload_.size();
  while (!failure_) {
    if (!header.isComplete()) {
      header.take(bytes);
      if (!header.isComplete()) break;
      failure_ = header.fault();
      if (failure_) break;
    }
    const std::size_t missing = header.length() - taken;
    if (bytes.size() < missing) break;
    bytes = bytes.subspan(missing);
    header.fill = 0;
    taken = 0;
  }
  return failure_;
}

std::optional<Frame> Deframer::next(ByteView& bytes) {
  if (!header_.isComplete()) {
    header_.take(bytes);
    if (!header_.isComplete()) return std::nullopt;
    QUORL_CHECK(!header_.fault(), "bytes are judged before they are taken");
  }
  const std::size_t length = header_.length();
  takePayload(bytes, length);
  if (payload_.size() < length) return std::nullopt;
  header_.fill = 0;
  return Frame{static_cast<FrameType>(header_.bytes[0]), std::exchange(payload_, {})};
}

void Deframer::takePayload(ByteView& input, std::size_t length) {
  const std::size_t count = std::min(input.size(), length - payload_.size());
  const std::size_t filled = payload_.size() + count;
  // In steps, so that memory follows the bytes received and the cost of copying stays linear, but never
  // beyond the frame's size.
  if (filled > payload_.capacity()) {
    const std::size_t wide = std::min(filled * smallGrowth, smallFrame);
    payload_.reserve(std::min(length, std::max({filled, payload_.capacity() * 2, wide})));
  }
  payload_.insert(payload_.end(), input.begin(), input.begin() + static_cast<std::ptrdiff_t>(count));
  input = input.subspan(count);
}

}  // namespace quorl
