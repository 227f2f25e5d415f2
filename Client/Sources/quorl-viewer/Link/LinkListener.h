// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/Handshake.h>

#include <quorl-client/Sound/SoundReceiver.h>
#include <quorl-client/Video/VideoFeed.h>
#include <quorl-viewer/Link/LinkMachine.h>

namespace quorl::viewer {

/// A stream as the window names it. It stays the same across reconnections; on the wire each start has
/// another number, so that late packets of an earlier stream are never taken for the new one.
using StreamKey = std::uint32_t;

struct LinkCounters {
  std::uint64_t receivedBytes = 0;  // since the start of the link, all connections
  std::uint64_t videoBytes = 0;
  std::uint64_t lostPictures = 0;     // datagrams that did not arrive
  std::uint64_t droppedPictures = 0;  // arrived, but build on a lost one or belong to a hidden stream
  std::uint64_t keyframeRequests = 0;
  std::uint64_t ignoredFrames = 0;  // of a host that is broken or of another version
  std::uint32_t connections = 0;
};

enum class StreamEnd : std::uint8_t {
  stopped,     // by `stopStream`
  interrupted  // with the connection; it starts again by itself
};

/// What a link reports.
///
/// *Queue*: the link's thread. Implementations return soon and post to their own thread; while they run,
/// nothing is received and no input is sent. *Lifetime*: outlives the link.
class LinkListener {
 public:
  virtual ~LinkListener() = default;

  virtual void onStatus(const LinkStatus& status) = 0;
  /// After each connection, before anything else of it. Texts of the host are unchecked: show them with
  /// `printable`.
  virtual void onHost(const DeviceInfo& host) = 0;
  /// Every message that is not about streams, sound or heartbeats. Numbers of streams are keys.
  virtual void onMessage(const ControlMessage& message, std::size_t encodedSize) = 0;

  /// Again whenever the size or the content rectangle changes.
  virtual void onStreamStarted(StreamKey stream, const StreamStarted& started) = 0;
  /// The stream is over and is not started again.
  virtual void onStreamFailed(StreamKey stream, const client::ClientError& error) = 0;
  virtual void onStreamEnded(StreamKey stream, StreamEnd end) = 0;
  /// The first picture after a configuration is a key frame.
  virtual void onDecoderConfig(StreamKey stream, client::DecoderConfig config) = 0;
  virtual void onPicture(StreamKey stream, client::EncodedPicture picture) = 0;

  virtual void onSound(client::SoundEvent event) = 0;
  /// The time of a message through the host and back, each second while measuring is on, and of each answered
  /// heartbeat.
  virtual void onRoundTrip(Clock::duration time, const LinkCounters& counters) = 0;
  /// The host has taken the newest large clipboard, or it failed. A paste that follows finds it there.
  virtual void onClipboardSent(const std::optional<client::ClientError>& error) = 0;
};

}  // namespace quorl::viewer
