// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/ViewerSession.h>

#include <filesystem>

#include <QMetaObject>

#include <quorl-viewer/Picture/PictureDecoder.h>
#include <quorl-viewer/Sound/PulseOutput.h>

namespace quorl::viewer {

namespace {

// Without a graphics card there is nothing to report.
bool hasDecodeDevice() {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/dri", error))
    if (entry.path().filename().string().starts_with("render")) return true;
  return false;
}

}  // namespace

template <class Action>
void ViewerSession::onGUI(Action action) {
  QMetaObject::invokeMethod(&gui_, std::move(action), Qt::QueuedConnection);
}

ViewerSession::ViewerSession(client::PairedHost host, DeviceInfo device, Handlers handlers)
    : host_(std::move(host)),
      handlers_(std::move(handlers)),
      sound_(std::make_unique<PulseOutput>(),
             {.wantSound = [this](bool isWanted) { post(linkCommand::SetSound{isWanted}); },
              .failed =
                  [this](const client::ClientError& error) {
                    onGUI([this, error] { handlers_.notice(error); });
                  }}),
      bridge_(linkHandlers()),
      link_(std::make_unique<HostLink>(LinkSettings{.host = host_, .device = std::move(device)}, bridge_)),
      thumbnails_({.post = [this](LinkCommand command) { post(std::move(command)); },
                   .setDecoder =
                       [this](StreamKey stream, std::shared_ptr<DecodeThread> decoder) {
                         bridge_.setDecoder(stream, std::move(decoder));
                       },
                   .picture = [this](const StreamTarget& target,
                                     const QImage& picture) { handlers_.thumbnail(target, picture); }}) {}

ViewerSession::~ViewerSession() {
  thumbnails_.show({});
  // The decoder asks the link for key frames, so it goes first.
  bridge_.setDecoder(stream_, nullptr);
  decoder_.reset();
  // Its thread may ask for a key frame until it has ended, so the link stays.
  link_->end();
  // Its end is not reported any more.
  bridge_.tap().record(0, nullptr);
  recorder_.reset();
}

LinkBridge::Handlers ViewerSession::linkHandlers() {
  return {.status =
              [this](const LinkStatus& status) {
                if (status.state == LinkStatus::State::connected)
                  sound_.start();
                else if (status.state != LinkStatus::State::stalled)
                  sound_.stop();
                handlers_.status(status);
              },
          .host = [this](const DeviceInfo& host) { handlers_.host(host); },
          .message = [this](const ControlMessage& message) { handlers_.message(message); },
          .streamFailed =
              [this](StreamKey stream, const client::ClientError& error) {
                if (isWatched(stream)) handlers_.streamFailed(error);
                thumbnails_.failed(stream);
              },
          .sound = [this](const client::SoundEvent& event) { sound_.take(event); },
          .roundTrip =
              [this](Clock::duration time, const LinkCounters& counters) {
                counters_ = counters;
                times_.roundTrip(time, Clock::now());
              },
          .clipboardSent =
              [this](const std::optional<client::ClientError>& error) {
                if (error) handlers_.notice(*error);
                handlers_.clipboardSent();
              }};
}

std::shared_ptr<DecodeThread> ViewerSession::makeDecoder(StreamKey stream) {
  const auto notice = [this](const client::ClientError& error) {
    onGUI([this, error] { handlers_.notice(error); });
  };
  // Once for all targets.
  const auto fallback = [this](const client::ClientError& error) {
    onGUI([this, error] {
      if (fallbacks_.insert(error.what).second) handlers_.notice(error);
    });
  };
  return std::make_shared<DecodeThread>(
      std::make_unique<DeferredDecoder>(
          [fallback] { return hasDecodeDevice() ? makeBestDecoder(fallback) : makeSoftwareDecoder(); }),
      DecodeThread::Handlers{.pictureReady =
                                 [this, stream] {
                                   onGUI([this, stream] {
                                     if (isWatched(stream)) handlers_.pictureReady();
                                   });
                                 },
                             .keyframeNeeded = [this, stream] { post(linkCommand::RequestKeyframe{stream}); },
                             .failed = notice});
}

void ViewerSession::watch(StreamTarget target, const StreamConfig& config, PointSize view) {
  unwatch();
  ++stream_;
  isWatching_ = true;
  decoder_ = makeDecoder(stream_);
  if (isHidden_) decoder_->hide();
  bridge_.setDecoder(stream_, decoder_);
  bridge_.tap().watch(stream_);
  times_ = {};
  post(linkCommand::StartStream{stream_, WantedStream{std::move(target), config, view, isHidden_}});
}

void ViewerSession::unwatch() {
  if (!std::exchange(isWatching_, false)) return;
  stopRecording();
  post(linkCommand::StopStream{stream_});
  bridge_.setDecoder(stream_, nullptr);
  decoder_.reset();
}

void ViewerSession::update(const StreamConfig& config) {
  if (isWatching_) post(linkCommand::UpdateStream{stream_, config});
}

void ViewerSession::resizeView(PointSize view) {
  if (isWatching_) post(linkCommand::ResizeView{stream_, view});
}

void ViewerSession::setHidden(bool isHidden) {
  if (std::exchange(isHidden_, isHidden) == isHidden) return;
  sendMeasuring();
  if (!isWatching_) return;
  if (isHidden)
    decoder_->hide();
  else
    decoder_->show(Clock::now());
  sendHidden();
}

void ViewerSession::sendHidden() {
  if (isWatching_) post(linkCommand::SetHidden{stream_, isHidden_ && !isRecording()});
}

void ViewerSession::startRecording(std::filesystem::path path) {
  if (!isWatching_ || isRecording()) return;
  recorder_ =
      std::make_shared<StreamRecorder>(std::move(path), [this](const client::Outcome<Recorded>& result) {
        onGUI([this, result] {
          bridge_.tap().record(stream_, nullptr);
          recorder_.reset();
          sendHidden();
          handlers_.recorded(result);
        });
      });
  bridge_.tap().record(stream_, recorder_);
  sendHidden();
  post(linkCommand::RequestKeyframe{stream_});
}

void ViewerSession::stopRecording() {
  if (recorder_) recorder_->stop();
}

void ViewerSession::setMuted(bool isMuted) {
  sound_.setMuted(isMuted);
}

void ViewerSession::setMeasuring(bool isMeasuring) {
  isMeasuring_ = isMeasuring;
  sendMeasuring();
}

// Nobody reads the statistics of a hidden window.
void ViewerSession::sendMeasuring() {
  post(linkCommand::SetMeasuring{isMeasuring_ && !isHidden_});
}

void ViewerSession::send(ControlMessage message) {
  post(linkCommand::Send{std::move(message)});
}

void ViewerSession::send(InputEvent event) {
  if (isWatching_) post(linkCommand::Input{event});
}

void ViewerSession::reconnectNow() {
  post(linkCommand::ReconnectNow{});
}

void ViewerSession::cancel() {
  post(linkCommand::Cancel{});
}

std::optional<TimedPicture> ViewerSession::takePicture() {
  return decoder_ ? decoder_->take() : std::nullopt;
}

void ViewerSession::takeTimings() {
  if (!decoder_) return;
  for (const auto& timing : decoder_->takeTimings()) times_.decoded(timing);
}

void ViewerSession::shown(const PictureTiming& timing) {
  takeTimings();
  times_.shown(timing, Clock::now());
  if (const auto age = times_.age()) sound_.setPictureAge(*age);
}

PictureReport ViewerSession::pictureReport() {
  takeTimings();
  if (decoder_) {
    const auto counts = decoder_->counts();
    times_.setDrops(DropCause::network, counters_.lostPictures);
    times_.setDrops(DropCause::backlog, counts.drops.backlog);
    times_.setDrops(DropCause::withoutKeyframe, counts.drops.withoutKeyframe + counters_.droppedPictures);
    times_.setDrops(DropCause::damaged, counts.damaged);
    times_.setDrops(DropCause::replaced, counts.replaced);
    times_.setDrops(DropCause::hidden, counts.drops.hidden);
  }
  return times_.report(Clock::now());
}

std::string ViewerSession::decoderPath() const {
  return decoder_ ? decoder_->path() : std::string();
}

}  // namespace quorl::viewer
