// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Protocol/CodingError.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/Frames.h>
#include <QuorlKit/Protocol/InputEvents.h>
#include <QuorlKit/Protocol/MediaPackets.h>

namespace quorl {

/// A frame ready for a gathered write: header and fixed fields inline, the rest a shared buffer. A copy
/// shares the buffer, so one encoding serves all clients of a broadcast.
///
/// *Queue*: any; it is immutable. *Ownership*: a value.
///
/// All factories but `control` take payloads that this program made; one above WireProtocol::maxFrameLength
/// is a programming error. A null buffer is an empty one.
class OutgoingFrame {
 public:
  static constexpr std::size_t maxPrefixSize = 40;

  /// Fails if the message cannot be encoded as JSON, or the JSON is too long for a frame.
  static std::expected<OutgoingFrame, CodingError> control(const ControlMessage& message);
  static OutgoingFrame video(const SharedVideoPacket& packet);
  static OutgoingFrame audio(const SharedAudioPacket& packet);
  static OutgoingFrame terminal(const SharedTerminalPayload& payload);
  static OutgoingFrame file(const SharedFileChunk& chunk);
  static OutgoingFrame input(const InputEvent& event);
  static OutgoingFrame raw(FrameType type, SharedBytes payload);

  FrameType type() const { return static_cast<FrameType>(prefix_[0]); }
  /// Frame header and fixed fields; the view is valid as long as this object.
  ByteView prefix() const { return ByteView(prefix_).first(prefixSize_); }
  ByteView body() const { return body_ ? ByteView(*body_) : ByteView(); }
  const SharedBytes& sharedBody() const { return body_; }
  /// The number of bytes on the wire.
  std::size_t size() const { return prefixSize_ + body().size(); }
  /// One contiguous copy.
  Bytes encoded() const;

 private:
  OutgoingFrame(FrameType type, ByteView fixedFields, SharedBytes body);

  std::array<std::uint8_t, maxPrefixSize> prefix_{};
  std::size_t prefixSize_ = 0;
  SharedBytes body_;
};

}  // namespace quorl
