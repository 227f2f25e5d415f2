// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/WindowFit.h>

#include <array>
#include <chrono>
#include <cmath>
#include <utility>

#include <QuorlHostCore/Display/FitGeometry.h>

namespace quorl {

namespace {

using std::chrono::milliseconds;

// Applications animate and round a resize. In this time a change of size is not the user's.
constexpr Duration settling = milliseconds(2'500);
// After the last one the fit is not tried again.
constexpr std::array<Duration, 3> verificationDelays{milliseconds(800), milliseconds(1'600),
                                                     milliseconds(800)};
constexpr int mostRetries = 2;
constexpr double settledDrift = 12;    // points, of width and height together
constexpr double resizeThreshold = 8;  // points, of one side

bool isResize(const PointSize& before, const PointSize& after) {
  return std::abs(before.width - after.width) > resizeThreshold ||
         std::abs(before.height - after.height) > resizeThreshold;
}

}  // namespace

FitState::Change WindowFit::takeAspect(double pointsWide, double pointsHigh) {
  return wishes_.takeAspect(pointsWide, pointsHigh);
}

FitState::Change WindowFit::takeAutoFit(bool enabled) {
  return wishes_.takeAutoFit(enabled);
}

FitState::Change WindowFit::takeScale(double scale) {
  return wishes_.takeScale(scale);
}

std::optional<WindowFit::Plan> WindowFit::plan() const {
  switch (const FitState::Mode mode = wishes_.mode()) {
    case FitState::Mode::none:
      return std::nullopt;
    case FitState::Mode::aspect:
      return Plan{mode, wishes_.clientAspect, wishes_.fitScale};
    case FitState::Mode::scale:
      return Plan{mode, std::nullopt, wishes_.fitScale};
  }
  return std::nullopt;
}

void WindowFit::fitted(const Window& window, const PointRect& original, const PointRect& frame, double aspect,
                       MonotonicTime now) {
  if (!keptWindow_) originalFrame_ = original;
  const bool isSameFit = keptWindow_ && keptWindow_->windowID == window.windowID && lastFittedRect_ &&
                         lastFittedRect_->size == frame.size;
  if (!isSameFit) ownSize_.reset();
  isAskedAgain_ = ownSize_.has_value();
  keptWindow_ = window;
  lastFittedRect_ = frame;
  fittedAspect_ = aspect;
  suppressResizeDetectionUntil_ = now + settling;
}

void WindowFit::forgetLastFit() {
  lastFittedRect_.reset();
  ownSize_.reset();
}

std::optional<PointSize> WindowFit::size() const {
  if (ownSize_ || !lastFittedRect_) return ownSize_;
  return lastFittedRect_->size;
}

std::optional<Duration> WindowFit::beginVerification() {
  if (ownSize_ && !std::exchange(isAskedAgain_, false)) return std::nullopt;
  attempt_ = ownSize_ ? mostRetries : 0;
  return nextVerification();
}

std::optional<Duration> WindowFit::nextVerification() const {
  const auto attempt = static_cast<std::size_t>(attempt_);
  if (!lastFittedRect_ || attempt >= verificationDelays.size()) return std::nullopt;
  return verificationDelays[attempt];
}

std::optional<WindowFit::Retry> WindowFit::verify(const PointRect& frame, MonotonicTime now) {
  if (!lastFittedRect_ || attempt_ >= mostRetries) return std::nullopt;
  const double drift = sizeDrift(frame, *lastFittedRect_);
  if (!(drift > settledDrift)) return std::nullopt;
  suppressResizeDetectionUntil_ = now + settling;
  ++attempt_;
  Retry retry{.number = attempt_, .drift = drift, .plan = plan()};
  // The window's own aspect is now the one that the application made of the request.
  if (retry.plan && !retry.plan->aspect) retry.plan->aspect = fittedAspect_;
  return retry;
}

bool WindowFit::keepsOwnSize(const PointRect& frame) {
  if (!lastFittedRect_ || attempt_ < mostRetries || frame.isEmpty()) return false;
  if (!(sizeDrift(frame, {frame.origin, *size()}) > settledDrift)) return false;
  ownSize_ = frame.size;
  return true;
}

WindowFit::Moved WindowFit::moved(const PointRect& before, const PointRect& after, Source source,
                                  MonotonicTime now) {
  if (!isResize(before.size, after.size)) return {};
  if (source == Source::severalWindows) return {.needsRestart = true};
  if (now <= suppressResizeDetectionUntil_) return {};
  const bool wasAutoFit = std::exchange(wishes_.autoFit, false);
  resetScale();
  forgetWindow();
  return {.needsRestart = true, .pushesNotFitted = wasAutoFit, .isTakenOverByUser = true};
}

std::optional<WindowFit::GiveBack> WindowFit::giveBack(const std::optional<PointRect>& current,
                                                       MonotonicTime now) {
  if (!keptWindow_) return std::nullopt;
  GiveBack back{*keptWindow_, originalFrame_};
  keptWindow_.reset();
  if (!current) return std::nullopt;
  if (lastFittedRect_ && sizeDrift(*current, *lastFittedRect_) >= settledDrift) return std::nullopt;
  suppressResizeDetectionUntil_ = now + settling;
  return back;
}

void WindowFit::forgetWindow() {
  keptWindow_.reset();
  forgetLastFit();
}

}  // namespace quorl
