// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Protocol/Bytes.h>

/// The binary payloads that fill one frame each. All integers are little-endian. `data` is everything after
/// the fixed fields; it has no length field and may be empty.
///
/// Each is a template over the type of `data`: Bytes (a plain value), ByteView (decoded without a copy; valid
/// as long as the frame's payload) or SharedBytes (for sending, shared by frames and clients).
namespace quorl {

/// Unknown bits are kept.
struct VideoPacketFlags {
  std::uint8_t rawValue = 0;

  static const VideoPacketFlags keyframe;     // the picture can be decoded by itself
  static const VideoPacketFlags codecConfig;  // `data` is the decoder configuration record, no picture

  constexpr bool contains(VideoPacketFlags other) const {
    return (rawValue & other.rawValue) == other.rawValue;
  }
  constexpr VideoPacketFlags operator|(VideoPacketFlags other) const {
    return {static_cast<std::uint8_t>(rawValue | other.rawValue)};
  }

  bool operator==(const VideoPacketFlags&) const = default;
};
inline constexpr VideoPacketFlags VideoPacketFlags::keyframe{0x01};
inline constexpr VideoPacketFlags VideoPacketFlags::codecConfig{0x02};

///   offset  size  field
///   0       4     streamID
///   4       1     flags
///   5       8     ptsMicros, presentation time in microseconds
///   13      rest  data
template <class Data>
struct BasicVideoPacket {
  static constexpr std::size_t fixedSize = 13;

  std::uint32_t streamID = 0;
  VideoPacketFlags flags;
  std::uint64_t ptsMicros = 0;
  Data data{};

  Bytes encoded() const;
  static std::expected<BasicVideoPacket, ReadError> decode(ByteView bytes);
  void putFixedFields(ByteWriter& writer) const;

  bool operator==(const BasicVideoPacket&) const = default;
};

///   offset  size  field
///   0       8     ptsMicros
///   8       rest  data
template <class Data>
struct BasicAudioPacket {
  static constexpr std::size_t fixedSize = 8;

  std::uint64_t ptsMicros = 0;
  Data data{};

  Bytes encoded() const;
  static std::expected<BasicAudioPacket, ReadError> decode(ByteView bytes);
  void putFixedFields(ByteWriter& writer) const;

  bool operator==(const BasicAudioPacket&) const = default;
};

///   offset  size  field
///   0       16    agentID
///   16      rest  data
template <class Data>
struct BasicTerminalPayload {
  static constexpr std::size_t fixedSize = 16;

  UUID agentID;
  Data data{};

  Bytes encoded() const;
  static std::expected<BasicTerminalPayload, ReadError> decode(ByteView bytes);
  void putFixedFields(ByteWriter& writer) const;

  bool operator==(const BasicTerminalPayload&) const = default;
};

///   offset  size  field
///   0       16    transferID
///   16      8     offset, position of `data` in the file
///   24      rest  data
template <class Data>
struct BasicFileChunk {
  static constexpr std::size_t fixedSize = 24;

  UUID transferID;
  std::uint64_t offset = 0;
  Data data{};

  Bytes encoded() const;
  static std::expected<BasicFileChunk, ReadError> decode(ByteView bytes);
  void putFixedFields(ByteWriter& writer) const;

  bool operator==(const BasicFileChunk&) const = default;
};

using VideoPacket = BasicVideoPacket<Bytes>;
using AudioPacket = BasicAudioPacket<Bytes>;
using TerminalPayload = BasicTerminalPayload<Bytes>;
using FileChunk = BasicFileChunk<Bytes>;

using VideoPacketView = BasicVideoPacket<ByteView>;
using AudioPacketView = BasicAudioPacket<ByteView>;
using TerminalPayloadView = BasicTerminalPayload<ByteView>;
using FileChunkView = BasicFileChunk<ByteView>;

using SharedVideoPacket = BasicVideoPacket<SharedBytes>;
using SharedAudioPacket = BasicAudioPacket<SharedBytes>;
using SharedTerminalPayload = BasicTerminalPayload<SharedBytes>;
using SharedFileChunk = BasicFileChunk<SharedBytes>;

}  // namespace quorl
