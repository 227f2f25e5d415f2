// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include <QObject>
#include <QTimer>

#include <quorl-viewer/Link/HostLink.h>
#include <quorl-viewer/Picture/DecodeThread.h>
#include <quorl-viewer/Picture/PictureTimes.h>
#include <quorl-viewer/Recording/StreamRecorder.h>
#include <quorl-viewer/Sound/SoundPlayback.h>
#include <quorl-viewer/Windows/LinkBridge.h>
#include <quorl-viewer/Windows/ThumbnailStreams.h>

namespace quorl::viewer {

/// What one window needs of its host: the link, the decoder of the watched target, the sound, and the times
/// of pictures.
///
/// *Queue*: the GUI thread; so are all handlers. *Ownership*: the window's. *Lifetime*: destruction says
/// goodbye to the host and takes up to a second.
class ViewerSession {
 public:
  struct Handlers {
    std::function<void(const LinkStatus&)> status;
    std::function<void(const DeviceInfo&)> host;
    std::function<void(const ControlMessage&)> message;
    /// A picture waits in `takePicture`.
    std::function<void()> pictureReady;
    std::function<void(const StreamTarget&, const QImage&)> thumbnail;
    /// The target cannot be watched, or not any more.
    std::function<void(const client::ClientError&)> streamFailed;
    /// Something does not work and is done in another way: a short text for people.
    std::function<void(const client::ClientError&)> notice;
    /// The host has taken the newest large clipboard, or cannot, which was reported before.
    std::function<void()> clipboardSent;
    /// The recording has ended, by itself or by `stopRecording`.
    std::function<void(const client::Outcome<Recorded>&)> recorded;
  };

  ViewerSession(client::PairedHost host, DeviceInfo device, Handlers handlers);
  ~ViewerSession();
  ViewerSession(const ViewerSession&) = delete;
  ViewerSession& operator=(const ViewerSession&) = delete;

  /// Ends the stream of the target before it. The session stays.
  void watch(StreamTarget target, const StreamConfig& config, PointSize view);
  /// Watches nothing.
  void unwatch();
  void update(const StreamConfig& config);
  void resizeView(PointSize view);
  /// Of these targets and no others, until the next call.
  void showThumbnails(const std::vector<StreamTarget>& targets) { thumbnails_.show(targets); }
  void setHidden(bool isHidden);
  void setMuted(bool isMuted);
  void setMeasuring(bool isMeasuring);
  bool isMeasuring() const { return isMeasuring_; }

  void send(ControlMessage message);
  /// For the watched stream, whatever number the event carries.
  void send(InputEvent event);
  /// Records the watched stream, and the sound unless it is muted, to an MP4 file until `stopRecording` or
  /// the end of the stream. While it records, the stream goes on in a hidden window.
  void startRecording(std::filesystem::path path);
  void stopRecording();
  bool isRecording() const { return recorder_ != nullptr; }
  void reconnectNow();
  void cancel();

  std::optional<TimedPicture> takePicture();
  /// The picture is on the window's surface.
  void shown(const PictureTiming& timing);

  StreamKey stream() const { return stream_; }
  const client::PairedHost& host() const { return host_; }
  PictureReport pictureReport();
  const LinkCounters& counters() const { return counters_; }
  std::string decoderPath() const;

 private:
  LinkBridge::Handlers linkHandlers();
  std::shared_ptr<DecodeThread> makeDecoder(StreamKey stream);
  void post(LinkCommand command) { link_->post(std::move(command)); }
  template <class Action>
  void onGUI(Action action);
  void takeTimings();
  void sendHidden();
  void sendMeasuring();
  bool isWatched(StreamKey stream) const { return isWatching_ && stream == stream_; }

  const client::PairedHost host_;
  const Handlers handlers_;
  QObject gui_;
  StreamKey stream_ = 0;
  bool isWatching_ = false;
  bool isHidden_ = false;
  bool isMeasuring_ = false;
  std::set<std::string> fallbacks_;  // from the device to software, as reported
  PictureTimes times_;
  LinkCounters counters_;
  std::shared_ptr<DecodeThread> decoder_;
  SoundPlayback sound_;
  std::shared_ptr<StreamRecorder> recorder_;
  LinkBridge bridge_;
  // After the bridge, which its thread calls.
  std::unique_ptr<HostLink> link_;
  ThumbnailStreams thumbnails_;
};

}  // namespace quorl::viewer
