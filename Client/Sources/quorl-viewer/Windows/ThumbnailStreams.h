// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <vector>

#include <QImage>
#include <QObject>
#include <QTimer>

#include <quorl-viewer/Link/HostLink.h>
#include <quorl-viewer/Picture/DecodeThread.h>
#include <quorl-viewer/Targets/ThumbnailTurns.h>

namespace quorl::viewer {

/// Small, slow streams of the windows in a list, beside the one that is watched.
///
/// *Queue*: the GUI thread; so are all handlers. *Ownership*: the session's. *Lifetime*: ends before the
/// link.
class ThumbnailStreams {
 public:
  struct Handlers {
    std::function<void(LinkCommand)> post;
    /// Null for a stream that is over.
    std::function<void(StreamKey, std::shared_ptr<DecodeThread>)> setDecoder;
    std::function<void(const StreamTarget&, const QImage&)> picture;
  };
  /// Streams from here on are thumbnails.
  static constexpr StreamKey firstKey = 0x4000'0000;
  static constexpr std::int64_t longestSide = 240;  // pixels
  static constexpr std::int64_t rate = 2;           // pictures a second

  explicit ThumbnailStreams(Handlers handlers);
  ~ThumbnailStreams();
  ThumbnailStreams(const ThumbnailStreams&) = delete;
  ThumbnailStreams& operator=(const ThumbnailStreams&) = delete;

  /// The targets in view. Without any nothing runs.
  void show(const std::vector<StreamTarget>& targets);
  void failed(StreamKey stream);

 private:
  struct Running {
    StreamTarget target;
    std::shared_ptr<DecodeThread> decoder;
  };

  void perform(const ThumbnailTurns::Actions& actions);
  void start(const StreamTarget& target);
  void stop(const StreamTarget& target);
  void pictureReady(StreamKey stream);

  const Handlers handlers_;
  QObject gui_;  // events for it are dropped once it is gone
  QTimer turnTimer_;
  ThumbnailTurns turns_;
  StreamKey next_ = firstKey;
  std::map<StreamKey, Running> running_;
};

}  // namespace quorl::viewer
