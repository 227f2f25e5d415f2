// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include <QObject>

#include <quorl-viewer/Link/HostLink.h>
#include <quorl-viewer/Picture/DecodeThread.h>
#include <quorl-viewer/Recording/RecordingTap.h>
#include <quorl-viewer/Windows/Backlog.h>

namespace quorl::viewer {

/// Carries a link's events to the GUI thread. Pictures of the decoded stream go straight to its decoder.
///
/// *Queue*: the listener's methods on the link's thread, everything else on the GUI thread, where all
/// handlers are called. *Ownership*: the session's. *Lifetime*: outlives the link.
class LinkBridge final : public LinkListener {
 public:
  struct Handlers {
    std::function<void(const LinkStatus&)> status;
    std::function<void(const DeviceInfo&)> host;
    std::function<void(const ControlMessage&)> message;
    std::function<void(StreamKey, const client::ClientError&)> streamFailed;
    std::function<void(const client::SoundEvent&)> sound;
    std::function<void(Clock::duration, const LinkCounters&)> roundTrip;
    std::function<void(const std::optional<client::ClientError>&)> clipboardSent;
  };

  explicit LinkBridge(Handlers handlers) : handlers_(std::move(handlers)) {}

  /// The decoder of a stream; null for one that is over.
  void setDecoder(StreamKey stream, std::shared_ptr<DecodeThread> decoder);
  RecordingTap& tap() { return tap_; }

  void onStatus(const LinkStatus& status) override;
  void onHost(const DeviceInfo& host) override;
  void onMessage(const ControlMessage& message, std::size_t encodedSize) override;
  void onStreamStarted(StreamKey stream, const StreamStarted& started) override;
  void onStreamFailed(StreamKey stream, const client::ClientError& error) override;
  void onStreamEnded(StreamKey, StreamEnd) override {}
  void onDecoderConfig(StreamKey stream, client::DecoderConfig config) override;
  void onPicture(StreamKey stream, client::EncodedPicture picture) override;
  void onSound(client::SoundEvent event) override;
  void onRoundTrip(Clock::duration time, const LinkCounters& counters) override;
  void onClipboardSent(const std::optional<client::ClientError>& error) override;

 private:
  std::shared_ptr<DecodeThread> decoderOf(StreamKey stream);
  template <class Action>
  void onGUI(Action action);
  template <class... Parameters, class... Values>
  void post(const std::function<void(Parameters...)>& handler, Values... values);

  const Handlers handlers_;
  RecordingTap tap_;
  Backlog messages_{1'024, std::size_t{32} << 20};
  Backlog sounds_{256, std::size_t{1} << 20};
  QObject gui_;  // events for it are dropped once it is gone

  std::mutex mutex_;
  std::map<StreamKey, std::shared_ptr<DecodeThread>> decoders_;
};

}  // namespace quorl::viewer
