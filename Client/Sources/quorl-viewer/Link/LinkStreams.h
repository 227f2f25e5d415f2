// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>

#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Protocol/ControlMessage.h>

#include <quorl-client/Video/VideoFeed.h>
#include <quorl-viewer/Link/LinkListener.h>

namespace quorl::viewer {

/// A stream that the window wants, whether there is a connection or not.
struct WantedStream {
  StreamTarget target;
  StreamConfig config;
  /// The size at which it is shown; the host gives a window its shape. Without one, windows keep theirs.
  std::optional<PointSize> view;
  /// Not visible: the host is asked for its lowest rate, and pictures are dropped.
  bool isHidden = false;
};

/// The streams of a link: starts them on each connection, passes their events on, and ends those that never
/// begin.
///
/// *Queue*: one at a time. *Ownership*: a value; borrows the listener. It neither waits nor owns a
/// connection: `send` sends at once or drops.
class LinkStreams {
 public:
  using Send = std::function<void(const ControlMessage&)>;

  /// From the request to the first configuration.
  static constexpr auto startPatience = std::chrono::seconds(20);
  static constexpr std::int64_t hiddenRate = 1;

  LinkStreams(LinkListener& listener, Send send) : listener_(listener), send_(std::move(send)) {}

  /// Replaces a stream of the same key.
  void start(StreamKey key, WantedStream wanted, Clock::time_point now);
  void stop(StreamKey key);
  void update(StreamKey key, const StreamConfig& config);
  void resize(StreamKey key, PointSize view);
  void setHidden(StreamKey key, bool isHidden, Clock::time_point now);
  void requestKeyframe(StreamKey key, Clock::time_point now);

  void connected(Clock::time_point now);
  void disconnected();

  void take(VideoPacket packet, Clock::time_point now);
  /// False if the message is not about a stream of this link.
  bool take(const ControlMessage& message);
  /// A datagram was lost; it is not known of which stream.
  void lose(Clock::time_point now);

  std::optional<Clock::time_point> due() const;
  void tick(Clock::time_point now);

  /// The number of the stream on this connection.
  std::optional<std::uint32_t> wireID(StreamKey key) const;
  std::optional<StreamKey> keyOf(std::uint32_t wireID) const;
  void addTo(LinkCounters& counters) const;

 private:
  struct Stream {
    WantedStream wanted;
    std::uint32_t wireID = 0;
    client::VideoFeed feed{0};
    bool hasStarted = false;
    bool isNew = true;  // not yet started and configured
    Clock::time_point requestedAt{};
  };

  void request(Stream& stream, Clock::time_point now);
  void deliver(StreamKey key, Stream& stream);
  void fail(StreamKey key, const client::ClientError& error);
  void takeError(const WireError& error);
  void askForKeyframe(Stream& stream, Clock::time_point now);
  void retire(const Stream& stream);

  LinkListener& listener_;
  const Send send_;
  bool isConnected_ = false;
  std::uint32_t lastWireID_ = 0;
  std::map<StreamKey, Stream> streams_;
  LinkCounters past_;  // of streams that are over
};

}  // namespace quorl::viewer
