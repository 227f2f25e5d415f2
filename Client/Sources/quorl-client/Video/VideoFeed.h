// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <variant>

#include <QuorlKit/Models/Models.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/MediaPackets.h>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

/// The decoder configuration record of the following pictures.
struct DecoderConfig {
  Bytes record;
  VideoCodec codec = VideoCodec::hevc;
};

/// One access unit, with length-prefixed NAL units as the configuration record says.
struct EncodedPicture {
  bool isKeyframe = false;
  std::uint64_t ptsMicros = 0;  // the host's monotonic clock
  Bytes data;
  Clock::time_point arrival;
};

using VideoEvent = std::variant<StreamStarted, DecoderConfig, EncodedPicture>;

/// The failure of a stream, with an advice for the person.
ClientError streamFailure(const WireError& error);
/// The stream that an error names; nothing if it names none.
std::optional<std::uint32_t> streamNamedBy(const WireError& error);

/// One stream of a session: packets and messages in, events out, in the order that a decoder needs: a
/// configuration, a key frame, then the pictures that build on it.
///
/// *Queue*: one at a time. *Ownership*: a value. It neither waits nor sends. Its memory is bounded as long as
/// `next` is called until it is empty after each packet.
class VideoFeed {
 public:
  static constexpr auto repeatAfter = std::chrono::milliseconds(500);

  explicit VideoFeed(std::uint32_t streamID) : streamID_(streamID) {}

  /// A packet of this stream; others are ignored.
  void take(VideoPacket packet, Clock::time_point now);
  /// Ignores an answer to another stream and one with a size that no host can have.
  void take(const StreamStarted& started);
  std::optional<VideoEvent> next();

  /// A picture was lost on the way: drops the pictures before the next key frame, which is due at once.
  void lose();
  /// Whether to ask the host for a key frame now, after a loss or for a decoder that lost its references; at
  /// most every `repeatAfter`.
  bool asksForKeyframe(Clock::time_point now);
  /// When `asksForKeyframe` may become true by itself: while pictures are dropped after a loss.
  std::optional<Clock::time_point> nextTick() const;

  std::uint32_t streamID() const { return streamID_; }
  bool hasConfig() const { return hasConfig_; }
  /// Bytes of pictures and configurations, without headers.
  std::uint64_t videoBytes() const { return videoBytes_; }
  std::uint64_t keyframeRequests() const { return keyframeRequests_; }
  /// Pictures that arrived but build on a lost one.
  std::uint64_t droppedPictures() const { return droppedPictures_; }

 private:
  void takeConfig(Bytes record);
  void deliver(EncodedPicture picture);

  std::uint32_t streamID_;
  std::deque<VideoEvent> events_;
  bool hasConfig_ = false;
  // Pictures from datagrams that arrived before the configuration on the connection.
  std::deque<EncodedPicture> early_;
  std::size_t earlyBytes_ = 0;

  bool awaitsKeyframe_ = false;
  std::optional<Clock::time_point> lastRequest_;
  std::uint64_t keyframeRequests_ = 0;
  std::uint64_t videoBytes_ = 0;
  std::uint64_t droppedPictures_ = 0;
};

}  // namespace quorl::client
