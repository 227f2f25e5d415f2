// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/StreamWindow.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Display/RectText.h>
#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

double aspectOf(const PointSize& size) {
  return size.height > 0 ? size.width / size.height : 1.0;
}

bool isOneOf(const std::vector<std::int32_t>& pids, std::int32_t pid) {
  return std::ranges::find(pids, pid) != pids.end();
}

}  // namespace

StreamWindow::StreamWindow(SerialQueue queue, const Platform& platform,
                           std::shared_ptr<OriginalFrames> originals, WindowFit fit)
    : queue_(std::move(queue)),
      windows_(platform.windows),
      raiser_(queue_.scheduler(), platform.windows, platform.mainThread),
      originals_(std::move(originals)),
      fit_(std::move(fit)) {}

// The owner was released, so nothing else uses the object. This may be on another thread than the queue's.
StreamWindow::~StreamWindow() {
  if (held_) queue_.scheduler().blocking([this] { giveBackNow(); });
}

// The client's wishes

FitState StreamWindow::wishes() const {
  queue_.assertCurrent();
  return fit_.wishes();
}

FitState::Change StreamWindow::takeAspect(double pointsWide, double pointsHigh) {
  queue_.assertCurrent();
  return fit_.takeAspect(pointsWide, pointsHigh);
}

FitState::Change StreamWindow::takeAutoFit(bool enabled) {
  queue_.assertCurrent();
  return fit_.takeAutoFit(enabled);
}

FitState::Change StreamWindow::takeScale(double scale) {
  queue_.assertCurrent();
  return fit_.takeScale(scale);
}

void StreamWindow::forgetLastFit() {
  queue_.assertCurrent();
  fit_.forgetLastFit();
}

// Setting up

std::optional<std::uint32_t> StreamWindow::frontWindowOf(std::int32_t pid) {
  queue_.assertCurrent();
  if (pid > 0) raiser_.activate(pid, std::nullopt);
  std::optional<WindowFitter::FrontWindow> front;
  queue_.scheduler().blocking([&] { front = WindowFitter(*windows_).frontWindow(pid); });
  return front ? std::optional(front->windowID) : std::nullopt;
}

StreamWindow::Prepared StreamWindow::prepare(const ResolvedTarget& target) {
  queue_.assertCurrent();
  tracked_ = target.window;
  appPIDs_ = target.appPIDs;
  inputPID_ = target.inputPID;
  Prepared prepared{.contentRect = target.contentRect, .fitState = std::nullopt};
  if (!target.window) {
    if (target.isWindowlessApp && fit_.wishes().autoFit) prepared.fitState = false;
    if (const auto all = unionOfWindows()) prepared.contentRect = *all;
    return prepared;
  }
  if (windows_) bringForward(target);
  if (const auto plan = fit_.plan(); plan && target.window->pid > 0) {
    const auto frame = apply(*target.window, *plan);
    if (plan->mode == FitState::Mode::aspect) prepared.fitState = frame.has_value();
    if (frame) prepared.contentRect = *frame;
  }
  if (!appPIDs_.empty() && windows_)
    prepared.contentRect = frameOf(target.window->windowID).value_or(target.contentRect);
  return prepared;
}

// An application was activated before its front window was looked up.
void StreamWindow::bringForward(const ResolvedTarget& target) {
  queue_.assertCurrent();
  const ResolvedTarget::Window& window = *target.window;
  if (window.pid < 1) return;
  const bool isApp = !target.appPIDs.empty();
  if (!isApp || !window.isOnScreen) raiser_.unminimize(window.pid, window.title);
  if (!isApp) raiser_.activate(window.pid, window.windowID);
}

// Fitting

std::optional<PointRect> StreamWindow::apply(const ResolvedTarget::Window& window,
                                             const WindowFit::Plan& plan) {
  queue_.assertCurrent();
  if (const auto& kept = fit_.keptWindow(); kept && kept->windowID != window.windowID) giveBack();
  std::optional<PointRect> frame;
  if (windows_)
    queue_.scheduler().blocking([&] { frame = applyNow({window.windowID, window.pid, window.title}, plan); });
  if (frame)
    Log::stream.info(
        fmt::format("fit window {} → {} scale {}", window.windowID, described(*frame), plan.scale));
  else
    Log::stream.info(fmt::format("fit skipped (window {} pid {}) — no AX window? (Accessibility granted?)",
                                 window.windowID, window.pid));
  return frame;
}

// A window without a frame is gone. A match by title would then change another window of the application.
std::optional<PointRect> StreamWindow::applyNow(const WindowFit::Window& window,
                                                const WindowFit::Plan& plan) {
  queue_.assertCurrent();
  const auto record = originals_->of(window.windowID);
  const auto lock = record->lock();
  const WindowFitter fitter(*windows_);
  const auto current = fitter.windowFrame(window.windowID);
  if (!current) return std::nullopt;
  const auto accessible = fitter.findAXWindow(window.pid, window.title, current);
  if (!accessible) return std::nullopt;
  const double aspect = plan.aspect.value_or(aspectOf(current->size));
  const auto frame = fitter.fit(*accessible, *current, aspect, plan.scale);
  if (!frame) return std::nullopt;
  const PointRect original = held_ ? *current : record->hold(*current);
  held_ = record;
  fit_.fitted(window, original, *frame, aspect, queue_.now());
  return frame;
}

std::optional<PointSize> StreamWindow::fittedSize() const {
  queue_.assertCurrent();
  const auto& kept = fit_.keptWindow();
  if (!kept || !tracked_ || kept->windowID != tracked_->windowID) return std::nullopt;
  return fit_.size();
}

std::optional<Duration> StreamWindow::beginVerification() {
  queue_.assertCurrent();
  return fit_.beginVerification();
}

StreamWindow::Verified StreamWindow::verify() {
  queue_.assertCurrent();
  const auto window = fit_.keptWindow();
  if (!window) return {};
  const auto frame = frameOf(window->windowID);
  // It is gone, which ends the stream elsewhere, or nobody answers.
  if (!frame) return {.next = fit_.nextVerification()};
  if (fit_.keepsOwnSize(*frame)) {
    Log::stream.info(fmt::format("window {} keeps its own size {}", window->windowID, described(*frame)));
    return {.keepsOwnSize = true};
  }
  const auto retry = fit_.verify(*frame, queue_.now());
  if (!retry) return {};
  Log::stream.info(fmt::format("fit settle retry #{} (drift {}) window {}", retry->number, retry->drift,
                               window->windowID));
  if (retry->plan) {
    std::optional<PointRect> again;
    queue_.scheduler().blocking([&] { again = applyAgain(*window, *frame, *retry->plan); });
    if (again) fit_.refitted(*again);
  }
  return {.next = fit_.nextVerification()};
}

std::optional<PointRect> StreamWindow::applyAgain(const WindowFit::Window& window, const PointRect& current,
                                                  const WindowFit::Plan& plan) {
  queue_.assertCurrent();
  const auto lock = held_->lock();
  const WindowFitter fitter(*windows_);
  const auto accessible = fitter.findAXWindow(window.pid, window.title, current);
  if (!accessible) return std::nullopt;
  return fitter.fit(*accessible, current, plan.aspect.value_or(aspectOf(current.size)), plan.scale);
}

void StreamWindow::giveBack() {
  queue_.assertCurrent();
  if (held_) queue_.scheduler().blocking([this] { giveBackNow(); });
}

void StreamWindow::endFit() {
  queue_.assertCurrent();
  fit_.resetScale();
  giveBack();
}

void StreamWindow::giveBackNow() {
  const auto record = std::exchange(held_, nullptr);
  const auto lock = record->lock();
  if (!record->release()) return fit_.forgetWindow();
  const WindowFitter fitter(*windows_);
  const auto current = fitter.windowFrame(fit_.keptWindow()->windowID);
  const auto back = fit_.giveBack(current, queue_.now());
  if (!back) return;
  if (const auto accessible = fitter.findAXWindow(back->window.pid, back->window.title, current))
    fitter.setFrame(*accessible, back->frame);
}

// Following

std::optional<PointRect> StreamWindow::frameOf(std::uint32_t windowID) const {
  queue_.assertCurrent();
  std::optional<PointRect> frame;
  queue_.scheduler().blocking([&] { frame = WindowFitter(*windows_).windowFrame(windowID); });
  return frame;
}

// A closed window may still exist, hidden; but it is no longer listed. A stream of that window alone shows it
// until it is destroyed; an application's stream goes on with another one.
StreamWindow::Place StreamWindow::place() const {
  queue_.assertCurrent();
  if (!windows_) return {};
  if (!tracked_) return {.rect = unionOfWindows(), .source = WindowFit::Source::severalWindows};
  if (appPIDs_.empty()) return {.rect = frameOf(tracked_->windowID)};
  const auto windows = windowList(WindowScope::all);
  if (!windows) return {};
  const auto found = std::ranges::find(*windows, tracked_->windowID, &ListedWindow::windowID);
  if (found == windows->end()) return {.isLost = true};
  return {.rect = found->bounds};
}

std::optional<std::vector<ListedWindow>> StreamWindow::windowList(WindowScope scope) const {
  queue_.assertCurrent();
  std::optional<std::vector<ListedWindow>> windows;
  queue_.scheduler().blocking([&] { windows = windows_->windowList(scope); });
  return windows;
}

std::optional<PointRect> StreamWindow::unionOfWindows() const {
  queue_.assertCurrent();
  if (!windows_ || appPIDs_.empty()) return std::nullopt;
  const auto windows = windowList(WindowScope::onScreen);
  if (!windows) return std::nullopt;
  PointRect all;
  for (const ListedWindow& window : *windows)
    if (window.layer == 0 && isOneOf(appPIDs_, window.pid)) all = all.unionWith(window.bounds);
  return all.isEmpty() ? std::nullopt : std::optional(all);
}

WindowFit::Moved StreamWindow::moved(const PointRect& before, const PointRect& after,
                                     WindowFit::Source source) {
  queue_.assertCurrent();
  const WindowFit::Moved moved = fit_.moved(before, after, source, queue_.now());
  if (moved.isTakenOverByUser && held_) {
    const auto record = std::exchange(held_, nullptr);
    queue_.scheduler().blocking([&] {
      const auto lock = record->lock();
      record->release();
    });
  }
  return moved;
}

// Raising

void StreamWindow::raiseForInput(InputHold hold) {
  queue_.assertCurrent();
  if (!windows_ || inputPID_.value_or(0) < 1) return;
  std::optional<WindowRaiser::Window> window;
  if (tracked_) window = WindowRaiser::Window{tracked_->windowID, tracked_->title};
  raiser_.raise(*inputPID_, std::move(window), std::move(hold));
}

}  // namespace quorl
