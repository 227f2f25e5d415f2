// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Concurrency/ThreadSafety.h>
#include <QuorlHostCore/Display/OriginalFrames.h>
#include <QuorlHostCore/Display/TargetResolution.h>
#include <QuorlHostCore/Display/WindowFit.h>
#include <QuorlHostCore/Display/WindowFitter.h>
#include <QuorlHostCore/Display/WindowRaiser.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Shared/InputHold.h>

namespace quorl {

/// The window of one stream: brought forward, fitted, verified, followed and given back as `WindowFit`
/// decides. Without the port for windows it changes nothing and reports an unfitted window.
///
/// *Queue*: the stream's, given at creation, for every operation.
/// *Blocking*: every operation may wait for the window server or an application, as blocking work.
/// *Ownership*: the stream session's.
/// *Lifetime*: destruction gives a fitted window back. Work posted to the main thread outlives it.
class StreamWindow {
 public:
  /// A target that is ready to be captured.
  struct Prepared {
    PointRect contentRect;
    std::optional<bool> fitState;  // for the client
  };
  /// The place of the picture.
  struct Place {
    std::optional<PointRect> rect;  // absent when nothing of the target is left, or nobody answers
    WindowFit::Source source = WindowFit::Source::window;
    bool isLost = false;  // the application has closed or hidden the captured window
  };

  struct Verified {
    std::optional<Duration> next;  // the delay of the next verification
    bool keepsOwnSize = false;     // the window refuses the fit: `fittedSize` is now its own
  };

  StreamWindow(SerialQueue queue, const Platform& platform, std::shared_ptr<OriginalFrames> originals,
               WindowFit fit);
  StreamWindow(const StreamWindow&) = delete;
  StreamWindow& operator=(const StreamWindow&) = delete;
  ~StreamWindow();

  /// Whether there is a port for windows.
  bool isControlled() const { return windows_ != nullptr; }
  /// The client's wishes, as in `FitState`.
  FitState wishes() const;
  FitState::Change takeAspect(double pointsWide, double pointsHigh);
  FitState::Change takeAutoFit(bool enabled);
  FitState::Change takeScale(double scale);

  /// Brings an application to the front and returns its front window.
  std::optional<std::uint32_t> frontWindowOf(std::int32_t pid);
  /// Brings the target's window forward and fits it.
  Prepared prepare(const ResolvedTarget& target);
  /// The size that the captured window was asked to take, or keeps instead.
  std::optional<PointSize> fittedSize() const;
  /// The next fit is done afresh, not verified against the last one.
  void forgetLastFit();
  /// The delay of the first verification, after the start of the capture. Absent without a fit.
  std::optional<Duration> beginVerification();
  /// Compares the window with its fit and fits it again if it has not settled.
  Verified verify();
  /// Where the picture is now.
  Place place() const;
  /// The picture has moved from `before` to `after`.
  WindowFit::Moved moved(const PointRect& before, const PointRect& after, WindowFit::Source source);
  /// Gives the window its original frame back unless the user has resized it or another stream fits it.
  void giveBack();
  /// The client wants no fit: ends the scale and gives the window back.
  void endFit();
  /// Raises the target's process, and lets go of `hold` afterwards.
  void raiseForInput(InputHold hold);

 private:
  void bringForward(const ResolvedTarget& target);
  std::optional<PointRect> apply(const ResolvedTarget::Window& window, const WindowFit::Plan& plan);
  std::optional<PointRect> applyNow(const WindowFit::Window& window, const WindowFit::Plan& plan);
  std::optional<PointRect> applyAgain(const WindowFit::Window& window, const PointRect& current,
                                      const WindowFit::Plan& plan);
  void giveBackNow() QUORL_NO_ANALYSIS;  // on the queue, or in the destructor
  std::optional<PointRect> frameOf(std::uint32_t windowID) const;
  std::optional<std::vector<ListedWindow>> windowList(WindowScope scope) const;
  std::optional<PointRect> unionOfWindows() const;

  const SerialQueue queue_;
  const std::shared_ptr<WindowControl> windows_;  // null without the port
  const WindowRaiser raiser_;
  const std::shared_ptr<OriginalFrames> originals_;

  WindowFit fit_ QUORL_GUARDED_BY(queue_);
  std::shared_ptr<OriginalFrames::Window> held_ QUORL_GUARDED_BY(queue_);  // of the fit's kept window
  std::optional<ResolvedTarget::Window> tracked_ QUORL_GUARDED_BY(queue_);
  std::vector<std::int32_t> appPIDs_ QUORL_GUARDED_BY(queue_);  // empty unless the target is an application
  std::optional<std::int32_t> inputPID_ QUORL_GUARDED_BY(queue_);
};

}  // namespace quorl
