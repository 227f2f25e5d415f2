// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/DecodeThread.h>

#include <utility>

namespace quorl::viewer {
namespace {

using client::Clock;
using client::DecoderConfig;
using client::EncodedPicture;

// One damaged key frame may be the link's fault.
constexpr int certainKeyframes = 2;

}  // namespace

DecodeThread::DecodeThread(std::unique_ptr<PictureDecoder> decoder, Handlers handlers)
    : handlers_(std::move(handlers)), decoder_(std::move(decoder)), thread_([this] { run(); }) {}

DecodeThread::~DecodeThread() {
  {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
    changed_.notify_all();
  }
  thread_.join();
}

void DecodeThread::configure(DecoderConfig config) {
  const std::lock_guard lock(mutex_);
  queue_.push(std::move(config));
  changed_.notify_all();
}

void DecodeThread::decode(EncodedPicture picture) {
  auto request = DecodeQueue::Request::none;
  {
    const std::lock_guard lock(mutex_);
    request = queue_.push(std::move(picture));
    if (!queue_.isEmpty()) changed_.notify_all();
  }
  perform(request);
}

void DecodeThread::hide() {
  {
    const std::lock_guard lock(mutex_);
    queue_.hide();
    ++hides_;
  }
  slot_.take();
}

void DecodeThread::show(Clock::time_point now) {
  auto request = DecodeQueue::Request::none;
  {
    const std::lock_guard lock(mutex_);
    request = queue_.show(now);
  }
  perform(request);
}

void DecodeThread::perform(DecodeQueue::Request request) {
  if (request == DecodeQueue::Request::keyframe && handlers_.keyframeNeeded) handlers_.keyframeNeeded();
}

std::vector<PictureTiming> DecodeThread::takeTimings() {
  const std::lock_guard lock(mutex_);
  return std::exchange(timings_, {});
}

DecodeThread::Counts DecodeThread::counts() const {
  const std::lock_guard lock(mutex_);
  auto counts = counts_;
  counts.drops = queue_.drops();
  counts.replaced = slot_.replaced();
  return counts;
}

std::string DecodeThread::path() const {
  const std::lock_guard lock(mutex_);
  return path_;
}

void DecodeThread::run() {
  for (;;) {
    std::optional<DecodeQueue::Item> item;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return isOver_ || !queue_.isEmpty(); });
      if (isOver_) return;
      item = queue_.pop();
    }
    std::visit([this](const auto& content) { handle(content); }, *item);
  }
}

void DecodeThread::handle(const DecoderConfig& config) {
  isReported_ = false;
  failedKeyframes_ = 0;
  const auto configured = decoder_->configure(config);
  isConfigured_ = configured.has_value();
  {
    const std::lock_guard lock(mutex_);
    path_ = decoder_->path();
  }
  if (!configured) report(configured.error());
}

void DecodeThread::handle(const EncodedPicture& picture) {
  if (!isConfigured_) {
    const std::lock_guard lock(mutex_);
    ++counts_.damaged;
    return;
  }
  std::uint64_t hides = 0;
  {
    const std::lock_guard lock(mutex_);
    hides = hides_;
  }
  PictureTiming timing{.ptsMicros = picture.ptsMicros,
                       .bytes = picture.data.size(),
                       .isKeyframe = picture.isKeyframe,
                       .arrival = picture.arrival,
                       .decodeBegin = Clock::now(),
                       .decodeEnd = {}};
  auto result = decoder_->decode(picture);
  timing.decodeEnd = Clock::now();
  const bool isDamaged = result.isDamaged;
  auto request = DecodeQueue::Request::none;
  bool isWanted = true;
  {
    const std::lock_guard lock(mutex_);
    path_ = decoder_->path();
    isWanted = hides == hides_;
    if (isDamaged) {
      ++counts_.damaged;
      request = queue_.handleFailure(timing.decodeEnd);
    } else {
      ++counts_.decoded;
      if (timings_.size() == mostTimings) timings_.erase(timings_.begin());
      timings_.push_back(timing);
    }
  }
  perform(request);
  if (picture.isKeyframe) failedKeyframes_ = isDamaged ? failedKeyframes_ + 1 : 0;
  if (failedKeyframes_ >= certainKeyframes) report(decoder_->failure());
  if (isWanted && !isDamaged) deliver(std::move(result), timing);
}

void DecodeThread::deliver(PictureDecoder::Result result, const PictureTiming& timing) {
  if (result.pictures.empty()) return;
  const auto put = slot_.put({std::move(result.pictures.back()), timing});
  if (put == PictureSlot::Put::first && handlers_.pictureReady) handlers_.pictureReady();
}

void DecodeThread::report(const client::ClientError& error) {
  if (!std::exchange(isReported_, true) && handlers_.failed) handlers_.failed(error);
}

}  // namespace quorl::viewer
