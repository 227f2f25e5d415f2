// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/StreamSession.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Display/EncodedSize.h>
#include <QuorlHostCore/Display/PictureFeed.h>
#include <QuorlHostCore/Display/VideoEncoder.h>
#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

// Rapid changes of the client's view or of the scale cause one restart.
constexpr Duration refitDelay = std::chrono::milliseconds(300);
constexpr int captureQueueDepth = 5;
// Faster than any screen. Keeps invalid values within the arithmetic.
constexpr std::int64_t maximumFrameRate = 1'000;

int frameRateOf(const StreamConfig& config) {
  return static_cast<int>(std::clamp<std::int64_t>(config.maxFPS, 1, maximumFrameRate));
}

std::string described(const PointRect& rect) {
  return fmt::format("({}, {}, {}, {})", rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
}

}  // namespace

StreamSession::StreamSession(StartStream request, std::weak_ptr<StreamOutputSink> sink,
                             const Platform& platform)
    : queue_(*platform.scheduler, fmt::format("quorl.stream.{}", request.streamID), QueueRank::stream),
      request_(std::move(request)),
      sink_(std::move(sink)),
      screen_(platform.screen),
      compressors_(platform.compressors),
      config_(request_.config) {
  fit_.takeAspect(request_.clientPointWidth.value_or(0), request_.clientPointHeight.value_or(0));
}

StreamSession::~StreamSession() = default;

template <class Step>
void StreamSession::onQueue(Step step) {
  queue_.async([weak = weak_from_this(), step = std::move(step)]() mutable {
    if (auto self = weak.lock()) step(*self);
  });
}

// Operations

void StreamSession::start() {
  onQueue([](StreamSession& self) { self.beginStart(); });
}

void StreamSession::stop() {
  queue_.async([self = shared_from_this()] { self->stopLocked(Notify::no); });
}

void StreamSession::update(const StreamConfig& config) {
  onQueue([config](StreamSession& self) { self.applyUpdate(config); });
}

void StreamSession::requestKeyframe() {
  onQueue([](StreamSession& self) {
    self.queue_.assertCurrent();
    if (self.feed_) self.feed_->requestKeyframe();
  });
}

void StreamSession::updateAspect(double pointsWide, double pointsHigh) {
  onQueue([=](StreamSession& self) {
    self.queue_.assertCurrent();
    if (self.stopped_) return;
    const auto change = self.fit_.takeAspect(pointsWide, pointsHigh);
    if (change == FitState::Change::yes && self.showsWindow() && self.fit_.autoFit) self.scheduleRefit();
  });
}

void StreamSession::setAutoFit(bool enabled) {
  onQueue([=](StreamSession& self) {
    self.queue_.assertCurrent();
    if (self.stopped_ || self.fit_.takeAutoFit(enabled) == FitState::Change::no) return;
    if (!self.showsWindow()) return;
    if (!enabled) self.fit_.fitScale = 1.0;
    self.restartForFit();
  });
}

void StreamSession::setWindowScale(double scale) {
  onQueue([=](StreamSession& self) {
    self.queue_.assertCurrent();
    if (self.stopped_ || self.fit_.takeScale(scale) == FitState::Change::no) return;
    if (self.showsWindow()) self.scheduleRefit();
  });
}

// A display cannot be raised, and no port controls windows yet.
void StreamSession::raiseForInput() {}

PointRect StreamSession::currentContentRect() const {
  std::lock_guard lock(contentRectLock_);
  return contentRect_;
}

FitState StreamSession::fitState() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return fit_;
  });
}

// Starting

void StreamSession::beginStart() {
  queue_.assertCurrent();
  screen_->shareableContent([weak = weak_from_this(), epoch = epoch_](Content content) {
    auto self = weak.lock();
    if (!self) return;
    self->onQueue([epoch, content = std::move(content)](StreamSession& session) {
      session.handleContent(epoch, content);
    });
  });
}

void StreamSession::handleContent(std::uint64_t epoch, const Content& content) {
  queue_.assertCurrent();
  if (stopped_ || epoch != epoch_) return;
  if (content) {
    setUpCapture(*content);
    return;
  }
  const std::string& text = content.error().description;
  fail("stream.content", text.empty() ? "no shareable content (Screen Recording permission?)" : text);
}

void StreamSession::setUpCapture(const ShareableContent& content) {
  queue_.assertCurrent();
  clearPreviousRun();
  const auto target = resolveTarget(request_.target, content);
  if (!target) return fail(target.error().code, target.error().message);
  screen_->geometry(target->filter,
                    [weak = weak_from_this(), epoch = epoch_, target = *target](const Geometry& geometry) {
                      auto self = weak.lock();
                      if (!self) return;
                      self->onQueue([epoch, target, geometry](StreamSession& session) {
                        session.handleGeometry(epoch, target, geometry);
                      });
                    });
}

void StreamSession::handleGeometry(std::uint64_t epoch, const ResolvedTarget& target,
                                   const Geometry& geometry) {
  queue_.assertCurrent();
  if (stopped_ || epoch != epoch_) return;
  if (!geometry) {  // the target has gone since the content was read
    const WireError gone = targetNotFound(request_.target);
    return fail(gone.code, gone.message);
  }
  setContentRect(target.contentRect);
  applyFit(target);
  encodedSize_ = encodedSizeFor(geometry->contentSize, geometry->pointPixelScale, config_.maxDimension);
  if (makeEncoder()) makeCapture(target.filter);
}

void StreamSession::clearPreviousRun() {
  queue_.assertCurrent();
  if (scStream_) scStream_->stop();
  scStream_.reset();
  feed_.reset();
  if (encoder_) queue_.scheduler().blocking([encoder = encoder_] { encoder->completeAndInvalidate(); });
  encoder_.reset();
}

// No port changes windows yet, so the stream shows them as they are and reports an unfitted window.
void StreamSession::applyFit(const ResolvedTarget& target) {
  queue_.assertCurrent();
  if (target.isWindowlessApp && fit_.autoFit) pushFitState(false);
  if (!target.fitCandidate || target.fitCandidate->pid < 1) return;
  const FitState::Mode mode = fit_.mode();
  if (mode == FitState::Mode::none) return;
  Log::stream.info(fmt::format("fit skipped (window {} pid {}) — no AX window? (Accessibility granted?)",
                               target.fitCandidate->windowID, target.fitCandidate->pid));
  if (mode == FitState::Mode::aspect) pushFitState(false);
}

bool StreamSession::makeEncoder() {
  queue_.assertCurrent();
  const VideoEncoder::Parameters parameters{
      .size = encodedSize_, .codec = config_.codec, .fps = frameRateOf(config_), .quality = config_.quality};
  std::expected<std::shared_ptr<VideoEncoder>, WireError> encoder;
  queue_.scheduler().blocking([&] { encoder = VideoEncoder::create(*compressors_, parameters); });
  if (!encoder) {
    fail(encoder.error().code, encoder.error().message);
    return false;
  }
  encoder_ = std::move(*encoder);
  feed_ = std::make_shared<PictureFeed>(queue_, encoder_, feedSurroundings(), frameInterval());
  encoder_->onCodecConfig = [sink = sink_, streamID = request_.streamID](SharedBytes record) {
    if (auto target = sink.lock())
      target->sendVideo(streamID, VideoPacketFlags::codecConfig, 0, std::move(record), Droppable::no);
  };
  encoder_->onEncodedChunk = [sink = sink_, streamID = request_.streamID, queue = queue_,
                              feed = std::weak_ptr(feed_)](const VideoEncoder::EncodedChunk& chunk) {
    if (auto target = sink.lock())
      target->sendVideo(streamID, chunk.isKeyframe ? VideoPacketFlags::keyframe : VideoPacketFlags{},
                        chunk.ptsMicros, chunk.data, chunk.isKeyframe ? Droppable::no : Droppable::yes);
    queue.async([feed, coarseness = chunk.coarseness] {
      if (auto strong = feed.lock()) strong->pictureEncoded(coarseness);
    });
  };
  encoder_->onDropped = [queue = queue_, feed = std::weak_ptr(feed_)] {
    queue.async([feed] {
      if (auto strong = feed.lock()) strong->pictureDropped();
    });
  };
  return true;
}

PictureFeed::Surroundings StreamSession::feedSurroundings() {
  queue_.assertCurrent();
  PictureFeed::Surroundings surroundings;
  surroundings.admit = [sink = sink_, streamID = request_.streamID,
                        encoder = encoder_](std::function<void()> whenOpen) -> std::optional<PictureBudget> {
    const auto target = sink.lock();
    if (!target) return std::nullopt;
    return target->admitPicture(
        {.streamID = streamID, .wantedRate = encoder->wantedRate(), .whenOpen = std::move(whenOpen)});
  };
  surroundings.request = [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (self->scStream_) self->scStream_->requestPicture();
  };
  return surroundings;
}

void StreamSession::makeCapture(const CaptureFilter& filter) {
  queue_.assertCurrent();
  CaptureStream::Handlers handlers;
  handlers.picture = [weak = weak_from_this()](CapturedPicture picture) {
    if (auto self = weak.lock()) self->handlePicture(std::move(picture));
  };
  handlers.placed = [weak = weak_from_this()](const PointRect& rect) {
    if (auto self = weak.lock()) self->handlePlaced(rect);
  };
  handlers.stopped = [weak = weak_from_this(), epoch = epoch_](const PortError& error) {
    if (auto self = weak.lock()) self->handleCaptureStopped(epoch, error);
  };
  auto stream = screen_->makeStream(filter, captureSettings(), queue_, std::move(handlers));
  if (!stream) return fail("stream.output", stream.error().description);
  scStream_ = std::move(*stream);
  startCapture();
}

void StreamSession::startCapture() {
  queue_.assertCurrent();
  scStream_->start([weak = weak_from_this(), epoch = epoch_](std::expected<void, PortError> result) {
    auto self = weak.lock();
    if (!self) return;
    self->onQueue([epoch, result = std::move(result)](StreamSession& session) {
      session.handleStarted(epoch, result);
    });
  });
}

void StreamSession::handleStarted(std::uint64_t epoch, const std::expected<void, PortError>& result) {
  queue_.assertCurrent();
  if (stopped_ || epoch != epoch_) return;
  if (!result) return fail("stream.start", result.error().description);
  announceStarted();
  Log::stream.info(fmt::format("stream {} started {}x{} rect={}", request_.streamID, encodedSize_.width,
                               encodedSize_.height, described(currentContentRect())));
}

void StreamSession::announceStarted() {
  queue_.assertCurrent();
  announced_ = true;
  StreamStarted started;
  started.streamID = request_.streamID;
  started.pixelWidth = encodedSize_.width;
  started.pixelHeight = encodedSize_.height;
  started.contentRect = currentContentRect();
  send(message::StreamStarted{started});
}

CaptureSettings StreamSession::captureSettings() const {
  queue_.assertCurrent();
  return {.size = encodedSize_,
          .minimumFrameInterval = std::chrono::round<std::chrono::microseconds>(frameInterval()),
          .showsCursor = config_.showsCursor,
          .queueDepth = captureQueueDepth};
}

Duration StreamSession::frameInterval() const {
  queue_.assertCurrent();
  return Duration(std::chrono::seconds(1)) / frameRateOf(config_);
}

// Running

void StreamSession::handlePicture(CapturedPicture picture) {
  queue_.assertCurrent();
  if (stopped_ || !feed_ || !picture.image || picture.status != FrameStatus::complete) return;
  feed_->pictureArrived(std::move(picture));
}

// Input uses the new rectangle at once. A new size restarts the capture after the last of several changes.
void StreamSession::handlePlaced(const PointRect& rect) {
  queue_.assertCurrent();
  const PointRect before = currentContentRect();
  if (stopped_ || rect.isEmpty() || rect == before) return;
  setContentRect(rect);
  if (announced_) announceStarted();
  if (rect.size != before.size) scheduleRefit();
}

// Posted, because a failure destroys the capture that is calling. A restart may come in between.
void StreamSession::handleCaptureStopped(std::uint64_t epoch, const PortError& error) {
  onQueue([epoch, text = error.description](StreamSession& self) {
    self.queue_.assertCurrent();
    if (!self.stopped_ && epoch == self.epoch_) self.fail("stream.capture", text);
  });
}

void StreamSession::applyUpdate(const StreamConfig& config) {
  queue_.assertCurrent();
  if (stopped_) return;
  const bool keepsPictures = config.maxDimension == config_.maxDimension && config.codec == config_.codec;
  config_ = config;
  if (!keepsPictures) return restart();
  if (encoder_) encoder_->applyRateControl(frameRateOf(config_), config_.quality);
  if (feed_) feed_->setFrameInterval(frameInterval());
  if (!scStream_) return;
  scStream_->updateSettings(captureSettings(), [](const std::expected<void, PortError>& result) {
    if (!result) Log::stream.error(fmt::format("updateConfiguration failed: {}", result.error().description));
  });
}

// Fitting

void StreamSession::scheduleRefit() {
  queue_.assertCurrent();
  refitWork_ = queue_.after(refitDelay, [weak = weak_from_this()] {
    auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (!self->stopped_) self->restartForFit();
  });
}

void StreamSession::restartForFit() {
  restart();
}

void StreamSession::pushFitState(bool fitted) {
  send(message::FitState{request_.streamID, fitted});
}

bool StreamSession::showsWindow() const {
  return std::holds_alternative<streamTarget::Window>(request_.target) ||
         std::holds_alternative<streamTarget::App>(request_.target);
}

// Ending

void StreamSession::restart() {
  queue_.assertCurrent();
  stopLocked(Notify::no);
  stopped_ = false;
  announced_ = false;
  beginStart();
}

void StreamSession::stopLocked(Notify notify) {
  queue_.assertCurrent();
  ++epoch_;
  refitWork_.cancel();
  if (stopped_) return;
  stopped_ = true;
  clearPreviousRun();
  if (notify == Notify::yes)
    send(message::Error{{"stream.stopped", fmt::format("stream {} stopped by host", request_.streamID)}});
}

void StreamSession::fail(const std::string& code, const std::string& text) {
  queue_.assertCurrent();
  Log::stream.error(fmt::format("stream {} failed: {}", request_.streamID, text));
  send(message::Error{{code, fmt::format("stream {}: {}", request_.streamID, text)}});
  stopLocked(Notify::no);
}

void StreamSession::send(ControlMessage message) const {
  if (auto target = sink_.lock()) target->sendControl(std::move(message));
}

void StreamSession::setContentRect(const PointRect& rect) {
  std::lock_guard lock(contentRectLock_);
  contentRect_ = rect;
}

}  // namespace quorl
