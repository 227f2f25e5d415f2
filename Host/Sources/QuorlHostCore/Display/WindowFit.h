// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/MonotonicTime.h>
#include <QuorlHostCore/Display/FitState.h>
#include <QuorlKit/Foundation/Geometry.h>

namespace quorl {

/// Decides how a stream's window is fitted, whether the fit took, when the user has taken the window over and
/// how it is given back. A state machine without a clock or a port: events and times in, actions out.
///
/// *Queue*: the owner's; a value.
class WindowFit {
 public:
  struct Window {
    std::uint32_t windowID = 0;
    std::int32_t pid = 0;
    std::string title;
  };
  struct Plan {
    FitState::Mode mode = FitState::Mode::none;
    std::optional<double> aspect;  // absent: the window's own
    double scale = 1.0;
  };
  /// A fit that did not take.
  struct Retry {
    int number = 1;  // the first is 1
    double drift = 0;
    std::optional<Plan> plan;  // absent when nothing is to be fitted any more
  };
  struct GiveBack {
    Window window;
    PointRect frame;
  };
  /// Whether a new place of the picture is that of the stream's window. That of several windows changes for
  /// other reasons than a resize.
  enum class Source : std::uint8_t { window, severalWindows };
  struct Moved {
    bool needsRestart = false;     // the encoder takes the new size
    bool pushesNotFitted = false;  // the client believes that the window is fitted
    bool isTakenOverByUser = false;
  };

  const FitState& wishes() const { return wishes_; }
  FitState::Change takeAspect(double pointsWide, double pointsHigh);
  FitState::Change takeAutoFit(bool enabled);
  FitState::Change takeScale(double scale);
  void resetScale() { wishes_.fitScale = 1.0; }

  /// How to fit the window now. Absent: it stays as it is.
  std::optional<Plan> plan() const;

  /// The window was asked to take `frame`; before, it had `before`. `original` is its frame before any stream
  /// fitted it.
  void fitted(const Window& window, const PointRect& original, const PointRect& frame, double aspect,
              MonotonicTime now);
  /// The fit is to be done afresh.
  void forgetLastFit();
  const std::optional<PointRect>& lastFittedRect() const { return lastFittedRect_; }
  /// The size of the fit, or the window's own if it keeps that. Absent without a fit.
  std::optional<PointSize> size() const;

  /// The delay of the first verification, after the capture has started. Absent without a fit, and once the
  /// window is known to keep its own size.
  std::optional<Duration> beginVerification();
  /// Compares the window with the fit. Absent when it has settled, and after the last retry.
  std::optional<Retry> verify(const PointRect& frame, MonotonicTime now);
  /// The retry asked for this frame.
  void refitted(const PointRect& frame) { lastFittedRect_ = frame; }
  /// After the last retry: whether the window keeps another size than `size`, which is that from then on.
  bool keepsOwnSize(const PointRect& frame);
  /// The delay of the next verification. Absent when there is none.
  std::optional<Duration> nextVerification() const;

  /// The picture shows another place now.
  Moved moved(const PointRect& before, const PointRect& after, Source source, MonotonicTime now);

  /// The window that has a frame to get back.
  const std::optional<Window>& keptWindow() const { return keptWindow_; }
  /// Ends the fit of the kept window. Absent when nothing is to be done: the user has changed the window, or
  /// it is gone (no `current`).
  std::optional<GiveBack> giveBack(const std::optional<PointRect>& current, MonotonicTime now);
  /// Ends the fit and leaves the window as it is.
  void forgetWindow();

 private:
  FitState wishes_;
  std::optional<Window> keptWindow_;  // with originalFrame_
  PointRect originalFrame_;
  std::optional<PointRect> lastFittedRect_;
  std::optional<PointSize> ownSize_;    // of a window that refuses this fit; kept while the same is asked
  std::optional<double> fittedAspect_;  // of the last fit; a retry keeps it
  MonotonicTime suppressResizeDetectionUntil_{};
  bool isAskedAgain_ = false;  // what the window has refused before
  int attempt_ = 0;
};

}  // namespace quorl
