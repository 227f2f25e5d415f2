// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Models/Models.h>

#include <quorl-client/Session/Session.h>
#include <quorl-client/Session/Sockets.h>
#include <quorl-client/Video/DatagramVideo.h>

namespace quorl::client {

enum class VideoTransport : std::uint8_t { tcp, udp };

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

/// One stream of a session. Returns its events in the order that a decoder needs: a configuration, a key
/// frame, then the pictures that build on it. After a loss over UDP it requests a key frame and returns no
/// picture before it.
///
/// *Queue*: the session's thread. *Ownership*: the command's. *Lifetime*: shorter than the session.
class VideoReceiver {
 public:
  /// Requests the stream; the first `next` returns the answer. `view` is the size at which it is shown: the
  /// host gives a window its shape. Without one, windows keep theirs.
  static Outcome<std::unique_ptr<VideoReceiver>> start(Session& session, StreamTarget target,
                                                       const StreamConfig& config, VideoTransport transport,
                                                       const std::optional<PointSize>& view = std::nullopt);

  /// The next event; nothing at the deadline. Fails if the host reports a failure of the stream.
  Outcome<std::optional<VideoEvent>> next(Deadline deadline);

  /// For a decoder that lost its reference pictures. Sends at most one request per half second.
  Outcome<void> requestKeyframe();

  /// Ends the stream; the session stays open.
  Outcome<void> stop();

  std::uint32_t streamID() const { return streamID_; }
  /// Bytes of pictures and configurations, without headers.
  std::uint64_t videoBytes() const { return videoBytes_; }
  std::uint64_t keyframeRequests() const { return keyframeRequests_; }
  std::uint64_t lostFrames() const { return datagramVideo_.lostFrames(); }

  /// Control messages that are not about this stream.
  std::function<void(const ControlMessage&)> onControl;
  /// Frames that carry neither pictures nor control messages.
  std::function<void(const Frame&)> onFrame;

 private:
  VideoReceiver(Session& session, std::uint32_t streamID) : session_(session), streamID_(streamID) {}

  Outcome<void> openDatagrams();
  Outcome<void> handleFrame(const Frame& frame);
  Outcome<void> handleControl(const ControlMessage& message);
  void handlePacket(VideoPacket packet);
  Outcome<void> drainDatagrams();
  Outcome<void> perform(DatagramVideo::Actions actions);
  void deliver(EncodedPicture picture);

  Session& session_;
  std::uint32_t streamID_;
  DatagramSocket datagrams_;
  std::optional<DatagramReader> datagramReader_;
  DatagramVideo datagramVideo_;

  std::deque<VideoEvent> events_;
  bool hasConfig_ = false;
  // Pictures from datagrams that arrived before the configuration on the connection.
  std::deque<EncodedPicture> early_;
  std::optional<Clock::time_point> lastKeyframeRequest_;
  std::uint64_t keyframeRequests_ = 0;
  std::uint64_t videoBytes_ = 0;
};

}  // namespace quorl::client
