// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/ThumbnailStreams.h>

#include <algorithm>

#include <QMetaObject>

#include <quorl-viewer/Picture/PictureDecoder.h>
#include <quorl-viewer/Windows/PictureFile.h>

namespace quorl::viewer {

namespace {

constexpr int turnPause = 1'000;  // ms, in which a stream sends its first picture also over a slow link

StreamConfig config() {
  return {.maxDimension = ThumbnailStreams::longestSide,
          .maxFPS = ThumbnailStreams::rate,
          .codec = VideoCodec::h264,
          .quality = 0.5,
          .showsCursor = false};
}

}  // namespace

ThumbnailStreams::ThumbnailStreams(Handlers handlers) : handlers_(std::move(handlers)) {
  turnTimer_.setInterval(turnPause);
  QObject::connect(&turnTimer_, &QTimer::timeout, &gui_, [this] { perform(turns_.turn()); });
}

ThumbnailStreams::~ThumbnailStreams() {
  show({});
}

void ThumbnailStreams::show(const std::vector<StreamTarget>& targets) {
  perform(turns_.show(targets));
}

void ThumbnailStreams::failed(StreamKey stream) {
  const auto found = running_.find(stream);
  if (found == running_.end()) return;
  const StreamTarget target = found->second.target;
  stop(target);
  perform(turns_.failed(target));
}

void ThumbnailStreams::perform(const ThumbnailTurns::Actions& actions) {
  for (const auto& target : actions.stops) stop(target);
  for (const auto& target : actions.starts) start(target);
  if (!turns_.isAnyWaiting())
    turnTimer_.stop();
  else if (!turnTimer_.isActive())
    turnTimer_.start();
}

void ThumbnailStreams::start(const StreamTarget& target) {
  const StreamKey stream = next_++;
  auto decoder = std::make_shared<DecodeThread>(
      makeSoftwareDecoder(),
      DecodeThread::Handlers{
          .pictureReady =
              [this, stream] {
                QMetaObject::invokeMethod(
                    &gui_, [this, stream] { pictureReady(stream); }, Qt::QueuedConnection);
              },
          .keyframeNeeded = [post = handlers_.post, stream] { post(linkCommand::RequestKeyframe{stream}); },
          .failed = {}});
  running_[stream] = {target, decoder};
  handlers_.setDecoder(stream, std::move(decoder));
  // Without a view, so that the host leaves the window its shape.
  handlers_.post(linkCommand::StartStream{stream, {.target = target, .config = config(), .view = {}}});
}

void ThumbnailStreams::stop(const StreamTarget& target) {
  const auto found =
      std::ranges::find_if(running_, [&](const auto& entry) { return entry.second.target == target; });
  if (found == running_.end()) return;
  handlers_.post(linkCommand::StopStream{found->first});
  handlers_.setDecoder(found->first, nullptr);
  running_.erase(found);
}

void ThumbnailStreams::pictureReady(StreamKey stream) {
  const auto found = running_.find(stream);
  if (found == running_.end()) return;
  const auto picture = found->second.decoder->take();
  if (!picture) return;
  // Far more than was asked for.
  const auto size = picture->picture.size();
  if (size.width > 2 * longestSide || size.height > 2 * longestSide) return failed(stream);
  handlers_.picture(found->second.target, copyOf(picture->picture));
}

}  // namespace quorl::viewer
