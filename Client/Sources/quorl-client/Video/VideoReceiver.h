// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Models/Models.h>

#include <quorl-client/Session/Session.h>
#include <quorl-client/Session/Sockets.h>
#include <quorl-client/Video/DatagramVideo.h>
#include <quorl-client/Video/VideoFeed.h>

namespace quorl::client {

/// Through ssh there are no datagrams: `udp` then means the same as `tcp`.
enum class VideoTransport : std::uint8_t { tcp, udp };

/// The only stream of a session, for a caller that waits for its events: a VideoFeed with a wait. After a
/// loss over UDP it requests a key frame and returns no picture before it.
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

  std::uint32_t streamID() const { return feed_.streamID(); }
  /// Bytes of pictures and configurations, without headers.
  std::uint64_t videoBytes() const { return feed_.videoBytes(); }
  std::uint64_t keyframeRequests() const { return feed_.keyframeRequests(); }
  std::uint64_t lostFrames() const { return datagramVideo_.lostFrames(); }

  /// Control messages that are not about this stream.
  std::function<void(const ControlMessage&)> onControl;
  /// Frames that carry neither pictures nor control messages.
  std::function<void(const Frame&)> onFrame;

 private:
  VideoReceiver(Session& session, std::uint32_t streamID) : session_(session), feed_(streamID) {}

  Outcome<void> openDatagrams();
  Outcome<void> handleFrame(const Frame& frame);
  Outcome<void> handleControl(const ControlMessage& message);
  Outcome<void> drainDatagrams();
  Outcome<void> perform(DatagramVideo::Actions actions, Clock::time_point now);

  Session& session_;
  VideoFeed feed_;
  DatagramSocket datagrams_;
  std::optional<DatagramReader> datagramReader_;
  DatagramVideo datagramVideo_;
};

}  // namespace quorl::client
