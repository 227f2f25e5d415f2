// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <vector>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

enum class FrameType : std::uint8_t {
  control = 0x01,   // UTF-8 JSON of one ControlMessage
  ping = 0x02,      // opaque bytes, echoed in the pong
  pong = 0x03,      // the ping's bytes
  video = 0x10,     // VideoPacket
  audio = 0x11,     // AudioPacket
  input = 0x20,     // InputEvent
  terminal = 0x30,  // TerminalPayload
  file = 0x40,      // FileChunk
};

std::optional<FrameType> frameTypeFromByte(std::uint8_t byte);

/// Frames follow one another on the stream without padding:
///
///   offset  size    field
///   0       1       type
///   1       4       length of the payload, unsigned, big-endian
///   5       length  payload
inline constexpr std::size_t frameHeaderSize = 5;

/// `length` must fit in 32 bits.
std::array<std::uint8_t, frameHeaderSize> frameHeader(FrameType type, std::size_t payloadLength);

struct Frame {
  FrameType type = FrameType::control;
  Bytes payload;

  Bytes encoded() const;

  bool operator==(const Frame&) const = default;
};

/// Why a byte stream is not a sequence of frames. The next frame cannot be found after such an error.
struct FrameError {
  enum class Kind : std::uint8_t { unknownType, oversized };

  Kind kind = Kind::unknownType;
  /// The offending type byte, or the announced length.
  std::uint32_t value = 0;

  static FrameError unknownType(std::uint8_t byte) { return {Kind::unknownType, byte}; }
  static FrameError oversized(std::uint32_t length) { return {Kind::oversized, length}; }
  /// "unknownType(5)", "oversized(33554433)".
  std::string description() const;

  bool operator==(const FrameError&) const = default;
};

/// Cuts a byte stream into frames. A header is checked as soon as its 5 bytes have arrived. A payload is
/// copied once from the input. Memory follows the bytes received, not the length announced. The cost is
/// linear in the input, however it is cut.
///
/// *Queue*: one at a time, that of its connection. *Ownership*: a value.
class Deframer {
 public:
  /// The frames that the bytes complete. On an error the frames of this call are dropped too, and every
  /// further call returns the same error.
  std::expected<std::vector<Frame>, FrameError> feed(ByteView bytes);

  /// One frame at a time, for callers that may need to pause between frames. `judge` checks all headers in
  /// `bytes` without taking any; after an error every further call returns the same one.
  std::optional<FrameError> judge(ByteView bytes);
  /// Takes judged bytes from the front of `bytes`, up to the end of a frame or of `bytes`.
  std::optional<Frame> next(ByteView& bytes);

  /// Received bytes of an incomplete frame.
  std::size_t bufferedByteCount() const { return header_.fill + payload_.size(); }
  /// Allocated bytes for them.
  std::size_t bufferCapacity() const { return payload_.capacity(); }

 private:
  struct Header {
    std::array<std::uint8_t, frameHeaderSize> bytes{};
    std::size_t fill = 0;

    bool isComplete() const { return fill == frameHeaderSize; }
    void take(ByteView& input);
    // Only of a complete header.
    std::uint32_t length() const;
    std::optional<FrameError> fault() const;
  };

  void takePayload(ByteView& input, std::size_t length);

  Header header_;
  Bytes payload_;
  std::optional<FrameError> failure_;
};

}  // namespace quorl
