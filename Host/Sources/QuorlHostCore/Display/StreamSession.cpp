// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/StreamSession.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Display/EncodedSize.h>
#include <QuorlHostCore/Display/RectText.h>
#include <QuorlHostCore/Display/StreamSettings.h>
#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

// Rapid changes of the client's view or of the scale cause one restart.
constexpr Duration refitDelay = std::chrono::milliseconds(300);
constexpr Duration rectInterval = std::chrono::seconds(1);
constexpr Duration raiseInterval = std::chrono::seconds(1);
// An application whose windows vanish as soon as they are captured ends its stream.
constexpr int mostLostTargets = 10;
constexpr Duration steadyRun = std::chrono::seconds(1);

WindowFit fitFor(const StartStream& request) {
  WindowFit fit;
  fit.takeAspect(request.clientPointWidth.value_or(0), request.clientPointHeight.value_or(0));
  return fit;
}

}  // namespace

StreamSession::StreamSession(StartStream request, std::weak_ptr<StreamOutputSink> sink,
                             const Platform& platform, std::shared_ptr<OriginalFrames> originals)
    : queue_(*platform.scheduler, fmt::format("quorl.stream.{}", request.streamID), QueueRank::stream),
      request_(std::move(request)),
      client_(std::move(sink), request_.streamID),
      screen_(platform.screen),
      compressors_(platform.compressors),
      controlsWindows_(platform.windows != nullptr),
      config_(request_.config),
      window_(queue_, platform, std::move(originals), fitFor(request_)) {}

StreamSession::~StreamSession() = default;

template <class Step>
void StreamSession::onQueue(Step step) {
  queue_.async([weak = weak_from_this(), step = std::move(step)]() mutable {
    if (auto self = weak.lock()) step(*self);
  });
}

// A callback for any thread that takes a step on the queue, unless the run it was made in has ended.
template <class Result>
auto StreamSession::inThisRun(void (StreamSession::*step)(const Result&)) {
  queue_.assertCurrent();
  return [weak = weak_from_this(), epoch = epoch_, step](Result result) {
    const auto self = weak.lock();
    if (!self) return;
    self->onQueue([epoch, step, result = std::move(result)](StreamSession& session) {
      session.queue_.assertCurrent();
      if (!session.stopped_ && epoch == session.epoch_) (session.*step)(result);
    });
  };
}

template <class Step>
Timer StreamSession::afterDelay(Duration delay, Step step) {
  return queue_.after(delay, [weak = weak_from_this(), step = std::move(step)] {
    if (auto self = weak.lock()) step(*self);
  });
}

// Operations

void StreamSession::start() {
  onQueue([](StreamSession& self) { self.beginStart(); });
}

void StreamSession::stop() {
  queue_.async([self = shared_from_this()] {
    self->queue_.assertCurrent();
    self->window_.giveBack();
    self->stopLocked(Notify::no);
  });
}

void StreamSession::update(const StreamConfig& config) {
  onQueue([config](StreamSession& self) { self.applyUpdate(config); });
}

void StreamSession::requestKeyframe() {
  onQueue([](StreamSession& self) {
    self.queue_.assertCurrent();
    if (self.encoder_.feed) self.encoder_.feed->requestKeyframe();
  });
}

void StreamSession::updateAspect(double pointsWide, double pointsHigh) {
  onQueue([=](StreamSession& self) {
    self.queue_.assertCurrent();
    if (self.stopped_) return;
    const auto change = self.window_.takeAspect(pointsWide, pointsHigh);
    if (change == FitState::Change::yes && self.showsWindow() && self.window_.wishes().autoFit)
      self.scheduleRefit();
  });
}

void StreamSession::setAutoFit(bool enabled) {
  onQueue([=](StreamSession& self) { self.applyAutoFit(enabled); });
}

void StreamSession::setWindowScale(double scale) {
  onQueue([=](StreamSession& self) {
    self.queue_.assertCurrent();
    if (self.stopped_ || self.window_.takeScale(scale) == FitState::Change::no) return;
    if (self.showsWindow()) self.scheduleRefit();
  });
}

// Input that needs no raise does not wait for the queue.
void StreamSession::raiseForInput(const HoldInput& holdInput) {
  if (!controlsWindows_ || !showsWindow() || !isRaiseDue()) return;
  onQueue([hold = holdInput ? holdInput() : nullptr](StreamSession& self) mutable {
    self.queue_.assertCurrent();
    if (!self.stopped_) self.window_.raiseForInput(std::move(hold));
  });
}

bool StreamSession::isRaiseDue() {
  const MonotonicTime now = queue_.now();
  const std::scoped_lock lock(raiseLock_);
  if (lastRaise_ && now - *lastRaise_ <= raiseInterval) return false;
  lastRaise_ = now;
  return true;
}

PointRect StreamSession::currentContentRect() const {
  std::lock_guard lock(contentRectLock_);
  return contentRect_;
}

FitState StreamSession::fitState() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return window_.wishes();
  });
}

// Starting

void StreamSession::beginStart() {
  queue_.assertCurrent();
  screen_->shareableContent(inThisRun(&StreamSession::handleContent));
}

void StreamSession::handleContent(const Content& content) {
  queue_.assertCurrent();
  if (content) {
    setUpCapture(*content);
    return;
  }
  const std::string& text = content.error().description;
  fail({"stream.content", text.empty() ? "no shareable content (Screen Recording permission?)" : text});
}

void StreamSession::setUpCapture(const ShareableContent& content) {
  queue_.assertCurrent();
  clearPreviousRun();
  const auto target = resolveTarget(request_.target, content, frontWindowLookup());
  if (!target) return fail(target.error());
  const StreamWindow::Prepared prepared = window_.prepare(*target);
  if (prepared.fitState) client_.sendFitState(*prepared.fitState);
  setContentRect(prepared.contentRect);
  filter_ = target->filter;
  screen_->geometry(filter_, inThisRun(&StreamSession::handleGeometry));
}

FrontWindowLookup StreamSession::frontWindowLookup() {
  queue_.assertCurrent();
  if (!window_.isControlled()) return nullptr;
  return [this](std::int32_t pid) {
    queue_.assertCurrent();
    return window_.frontWindowOf(pid);
  };
}

void StreamSession::handleGeometry(const Geometry& geometry) {
  queue_.assertCurrent();
  // The target has gone since the content was read.
  if (!geometry) return failTarget(targetNotFound(request_.target));
  encodedSize_ = encodedSizeFor(window_.fittedSize().value_or(geometry->contentSize),
                                geometry->pointPixelScale, config_.maxDimension);
  if (makeEncoder()) makeCapture();
}

bool StreamSession::makeEncoder() {
  queue_.assertCurrent();
  auto request = [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (self->scStream_) self->scStream_->requestPicture();
  };
  auto made = StreamEncoder::make(queue_, *compressors_, encoderParametersFor(config_, encodedSize_),
                                  frameIntervalFor(config_), client_, std::move(request));
  if (!made) {
    fail(made.error());
    return false;
  }
  encoder_ = std::move(*made);
  return true;
}

void StreamSession::makeCapture() {
  queue_.assertCurrent();
  CaptureStream::Handlers handlers;
  handlers.picture = [weak = weak_from_this()](CapturedPicture picture) {
    if (auto self = weak.lock()) self->handlePicture(std::move(picture));
  };
  handlers.placed = [weak = weak_from_this()](const PointRect& rect) {
    if (auto self = weak.lock()) self->handlePlaced(rect);
  };
  handlers.stopped = inThisRun(&StreamSession::handleCaptureStopped);
  auto stream =
      screen_->makeStream(filter_, captureSettingsFor(config_, encodedSize_), queue_, std::move(handlers));
  if (!stream) return fail({"stream.output", stream.error().description});
  scStream_ = std::move(*stream);
  scStream_->start(inThisRun(&StreamSession::handleStarted));
}

void StreamSession::handleStarted(const Started& result) {
  queue_.assertCurrent();
  if (!result) {
    const WireError error{"stream.start", result.error().description};
    // Only a window that has gone meanwhile is worth another start.
    return showsWindow() && window_.place().isLost ? failTarget(error) : fail(error);
  }
  startedAt_ = queue_.now();
  announceStarted();
  if (showsWindow() && window_.isControlled())
    rectTimer_ = queue_.every(rectInterval, rectInterval, [weak = weak_from_this()] {
      if (auto self = weak.lock()) self->trackRect();
    });
  scheduleVerification(window_.beginVerification());
  Log::stream.info(fmt::format("stream {} started {}x{} rect={}", request_.streamID, encodedSize_.width,
                               encodedSize_.height, described(currentContentRect())));
}

void StreamSession::announceStarted() {
  queue_.assertCurrent();
  announced_ = true;
  client_.sendStarted(encodedSize_, currentContentRect());
}

// Running

void StreamSession::handlePicture(CapturedPicture picture) {
  queue_.assertCurrent();
  if (stopped_ || !encoder_.feed || !picture.image || picture.status != FrameStatus::complete) return;
  encoder_.feed->pictureArrived(std::move(picture));
}

// Input uses the new rectangle at once.
void StreamSession::takePlace(const PointRect& rect) {
  queue_.assertCurrent();
  setContentRect(rect);
  if (announced_) announceStarted();
}

// A display: a new size restarts the capture after the last of several changes.
void StreamSession::handlePlaced(const PointRect& rect) {
  queue_.assertCurrent();
  const PointRect before = currentContentRect();
  if (showsWindow() || stopped_ || rect.isEmpty() || rect == before) return;
  takePlace(rect);
  if (rect.size != before.size) scheduleRefit();
}

// A window or an application.
void StreamSession::trackRect() {
  queue_.assertCurrent();
  if (stopped_) return;
  const StreamWindow::Place place = window_.place();
  if (place.isLost) return failTarget({"stream.capture", "the window was closed"});
  const PointRect before = currentContentRect();
  if (!place.rect || place.rect->isEmpty() || *place.rect == before) return;
  takePlace(*place.rect);
  const WindowFit::Moved moved = window_.moved(before, *place.rect, place.source);
  if (moved.pushesNotFitted) client_.sendFitState(false);
  if (moved.needsRestart) scheduleRefit();
}

void StreamSession::scheduleVerification(std::optional<Duration> delay) {
  queue_.assertCurrent();
  if (!delay) return;
  verification_ = afterDelay(*delay, [](StreamSession& self) {
    self.queue_.assertCurrent();
    if (!self.stopped_) self.verifyFit();
  });
}

void StreamSession::verifyFit() {
  queue_.assertCurrent();
  const StreamWindow::Verified verified = window_.verify();
  if (verified.keepsOwnSize) return restartInOwnSize();
  scheduleVerification(verified.next);
}

void StreamSession::handleCaptureStopped(const PortError& error) {
  failTarget({"stream.capture", error.description});
}

void StreamSession::applyUpdate(const StreamConfig& config) {
  queue_.assertCurrent();
  if (stopped_) return;
  const bool keepsPictures = config.maxDimension == config_.maxDimension && config.codec == config_.codec;
  config_ = config;
  if (!keepsPictures) return restart();
  if (encoder_.encoder) {
    const auto parameters = encoderParametersFor(config_, encodedSize_);
    encoder_.encoder->applyRateControl(parameters.fps, parameters.quality);
    encoder_.feed->setFrameInterval(frameIntervalFor(config_));
  }
  if (!scStream_) return;
  scStream_->updateSettings(
      captureSettingsFor(config_, encodedSize_), [](const std::expected<void, PortError>& result) {
        if (!result)
          Log::stream.error(fmt::format("updateConfiguration failed: {}", result.error().description));
      });
}

void StreamSession::applyAutoFit(bool enabled) {
  queue_.assertCurrent();
  if (stopped_ || window_.takeAutoFit(enabled) == FitState::Change::no || !showsWindow()) return;
  if (!enabled) window_.endFit();
  restartForFit();
}

void StreamSession::scheduleRefit() {
  queue_.assertCurrent();
  refitWork_ = afterDelay(refitDelay, [](StreamSession& self) {
    self.queue_.assertCurrent();
    if (!self.stopped_) self.restartForFit();
  });
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

void StreamSession::restartForFit() {
  queue_.assertCurrent();
  window_.forgetLastFit();
  restart();
}

// The window refuses the fit. In the fitted size its picture would be distorted.
void StreamSession::restartInOwnSize() {
  queue_.assertCurrent();
  ++epoch_;
  clearPreviousRun();
  announced_ = false;
  screen_->geometry(filter_, inThisRun(&StreamSession::handleGeometry));
}

// The target has gone. An application has other windows, or none for a while: its stream goes on with what
// the restart finds, and fails there if the application itself is gone.
void StreamSession::failTarget(const WireError& error) {
  queue_.assertCurrent();
  const bool wasSteady = startedAt_ && queue_.now() - *startedAt_ >= steadyRun;
  lostTargets_ = wasSteady ? 1 : lostTargets_ + 1;
  if (!std::holds_alternative<streamTarget::App>(request_.target) || lostTargets_ > mostLostTargets)
    return fail(error);
  ++epoch_;
  clearPreviousRun();
  announced_ = false;
  scheduleRefit();
}

void StreamSession::fail(const WireError& error) {
  queue_.assertCurrent();
  client_.sendFailure(error);
  stopLocked(Notify::no);
}

void StreamSession::stopLocked(Notify notify) {
  queue_.assertCurrent();
  ++epoch_;
  refitWork_.cancel();
  if (stopped_) return;
  stopped_ = true;
  clearPreviousRun();
  if (notify == Notify::yes) client_.sendStopped();
}

void StreamSession::clearPreviousRun() {
  queue_.assertCurrent();
  rectTimer_.cancel();
  verification_.cancel();
  startedAt_.reset();
  if (scStream_) scStream_->stop();
  scStream_.reset();
  encoder_.end(queue_);
}

void StreamSession::setContentRect(const PointRect& rect) {
  std::lock_guard lock(contentRectLock_);
  contentRect_ = rect;
}

}  // namespace quorl
