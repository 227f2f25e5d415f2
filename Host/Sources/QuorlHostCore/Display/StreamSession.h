// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Concurrency/Timer.h>
#include <QuorlHostCore/Display/FitState.h>
#include <QuorlHostCore/Display/OriginalFrames.h>
#include <QuorlHostCore/Display/StreamClient.h>
#include <QuorlHostCore/Display/StreamEncoder.h>
#include <QuorlHostCore/Display/StreamWindow.h>
#include <QuorlHostCore/Display/TargetResolution.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Shared/ClientStream.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// One picture stream to one client: resolves the target, fits its window, runs capture and encoder, keeps
/// the content rectangle current and passes the pictures to the client's sink.
///
/// *Queue*: owns "quorl.stream.<id>" (rank `stream`), where the operations of `ClientStream` do their work.
/// *Blocking*: `fitState` waits for the queue. The queue waits for the encoder, the window server and the
/// window's application as blocking work.
/// *Ownership*: made with std::make_shared and held by the connection. Holds its sink weakly; an expired one
/// counts as unsubscribed.
/// *Lifetime*: pending work holds it weakly, except `stop`, which always runs. Destruction without `stop`
/// ends the capture and the encoder and gives the window back as well.
class StreamSession final : public ClientStream, public std::enable_shared_from_this<StreamSession> {
 public:
  /// `originals` is shared by all streams of the host.
  StreamSession(StartStream request, std::weak_ptr<StreamOutputSink> sink, const Platform& platform,
                std::shared_ptr<OriginalFrames> originals);
  StreamSession(const StreamSession&) = delete;
  StreamSession& operator=(const StreamSession&) = delete;
  ~StreamSession() override;

  const SerialQueue& queue() const { return queue_; }

  // ClientStream
  void start() override;
  void stop() override;
  void update(const StreamConfig& config) override;
  void requestKeyframe() override;
  void updateAspect(double pointsWide, double pointsHigh) override;
  void setAutoFit(bool enabled) override;
  void setWindowScale(double scale) override;
  void raiseForInput(const HoldInput& holdInput) override;
  PointRect currentContentRect() const override;

  /// The client's current wishes for the window.
  FitState fitState() const;

 private:
  enum class Notify : std::uint8_t { no, yes };
  using Content = std::expected<ShareableContent, PortError>;
  using Geometry = std::expected<FilterGeometry, PortError>;
  using Started = std::expected<void, PortError>;

  // Runs a step on the queue unless the session was destroyed before.
  template <class Step>
  void onQueue(Step step);
  template <class Step>
  Timer afterDelay(Duration delay, Step step);
  template <class Result>
  auto inThisRun(void (StreamSession::*step)(const Result&));

  // Starting
  void beginStart();
  void handleContent(const Content& content);
  void setUpCapture(const ShareableContent& content);
  FrontWindowLookup frontWindowLookup();
  void handleGeometry(const Geometry& geometry);
  bool makeEncoder();
  void makeCapture();
  void handleStarted(const Started& result);
  void announceStarted();

  // Running
  void handlePicture(CapturedPicture picture);
  void handlePlaced(const PointRect& rect);
  void trackRect();
  void takePlace(const PointRect& rect);
  void scheduleVerification(std::optional<Duration> delay);
  void verifyFit();
  void handleCaptureStopped(const PortError& error);
  void applyUpdate(const StreamConfig& config);
  void applyAutoFit(bool enabled);
  void scheduleRefit();

  // Ending
  void restart();
  void restartForFit();
  void restartInOwnSize();
  void failTarget(const WireError& error);
  void fail(const WireError& error);
  void stopLocked(Notify notify);
  void clearPreviousRun();

  void setContentRect(const PointRect& rect);
  bool isRaiseDue();
  bool showsWindow() const;

  const SerialQueue queue_;
  const StartStream request_;
  const StreamClient client_;
  const std::shared_ptr<ScreenCapture> screen_;
  const std::shared_ptr<VideoCompressorFactory> compressors_;
  const bool controlsWindows_;  // there is a port for windows

  CaptureFilter filter_ QUORL_GUARDED_BY(queue_);
  std::unique_ptr<CaptureStream> scStream_ QUORL_GUARDED_BY(queue_);
  StreamEncoder encoder_ QUORL_GUARDED_BY(queue_);
  StreamConfig config_ QUORL_GUARDED_BY(queue_);
  PixelSize encodedSize_ QUORL_GUARDED_BY(queue_);
  bool stopped_ QUORL_GUARDED_BY(queue_) = false;
  bool announced_ QUORL_GUARDED_BY(queue_) = false;
  std::uint64_t epoch_ QUORL_GUARDED_BY(queue_) = 0;  // results of older epochs are ignored
  StreamWindow window_ QUORL_GUARDED_BY(queue_);
  Timer rectTimer_ QUORL_GUARDED_BY(queue_);
  Timer verification_ QUORL_GUARDED_BY(queue_);
  Timer refitWork_ QUORL_GUARDED_BY(queue_);
  std::optional<MonotonicTime> startedAt_ QUORL_GUARDED_BY(queue_);  // of this run
  int lostTargets_ QUORL_GUARDED_BY(queue_) = 0;                     // consecutive, each soon after its start

  mutable std::mutex contentRectLock_;
  PointRect contentRect_;  // written on the queue, under contentRectLock_

  std::mutex raiseLock_;
  std::optional<MonotonicTime> lastRaise_;  // under raiseLock_
};

}  // namespace quorl
