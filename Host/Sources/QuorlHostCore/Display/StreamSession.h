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
#include <QuorlHostCore/Display/PictureFeed.h>
#include <QuorlHostCore/Display/TargetResolution.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlHostCore/Shared/ClientStream.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

class VideoEncoder;

/// One picture stream to one client: resolves the target, runs capture and encoder, keeps the content
/// rectangle current and passes the pictures to the client's sink.
///
/// *Queue*: owns "quorl.stream.<id>" (rank `stream`), where the operations of `ClientStream` do their work.
/// *Blocking*: `fitState` waits for the queue. The queue waits for the encoder as blocking work.
/// *Ownership*: made with std::make_shared and held by the connection. Holds its sink weakly; an expired one
/// counts as unsubscribed.
/// *Lifetime*: pending work holds it weakly, except `stop`, which always runs. Destruction without `stop`
/// ends the capture and the encoder as well.
class StreamSession final : public ClientStream, public std::enable_shared_from_this<StreamSession> {
 public:
  StreamSession(StartStream request, std::weak_ptr<StreamOutputSink> sink, const Platform& platform);
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
  void raiseForInput() override;
  PointRect currentContentRect() const override;

  /// The client's current wishes for the window.
  FitState fitState() const;

 private:
  enum class Notify : std::uint8_t { no, yes };
  using Content = std::expected<ShareableContent, PortError>;
  using Geometry = std::expected<FilterGeometry, PortError>;

  // Runs a step on the queue unless the session was destroyed before.
  template <class Step>
  void onQueue(Step step);

  void beginStart();
  void handleContent(std::uint64_t epoch, const Content& content);
  void setUpCapture(const ShareableContent& content);
  void handleGeometry(std::uint64_t epoch, const ResolvedTarget& target, const Geometry& geometry);
  void clearPreviousRun();
  void applyFit(const ResolvedTarget& target);
  bool makeEncoder();
  PictureFeed::Surroundings feedSurroundings();
  void makeCapture(const CaptureFilter& filter);
  void startCapture();
  void handleStarted(std::uint64_t epoch, const std::expected<void, PortError>& result);
  void announceStarted();
  void handlePicture(CapturedPicture picture);
  void handlePlaced(const PointRect& rect);
  void handleCaptureStopped(std::uint64_t epoch, const PortError& error);
  void applyUpdate(const StreamConfig& config);
  void scheduleRefit();
  void restart();
  void restartForFit();
  void stopLocked(Notify notify);
  void fail(const std::string& code, const std::string& text);
  void pushFitState(bool fitted);
  void send(ControlMessage message) const;
  void setContentRect(const PointRect& rect);
  bool showsWindow() const;
  CaptureSettings captureSettings() const;
  Duration frameInterval() const;

  const SerialQueue queue_;
  const StartStream request_;
  const std::weak_ptr<StreamOutputSink> sink_;
  const std::shared_ptr<ScreenCapture> screen_;
  const std::shared_ptr<VideoCompressorFactory> compressors_;

  std::unique_ptr<CaptureStream> scStream_ QUORL_GUARDED_BY(queue_);
  std::shared_ptr<VideoEncoder> encoder_ QUORL_GUARDED_BY(queue_);
  std::shared_ptr<PictureFeed> feed_ QUORL_GUARDED_BY(queue_);
  StreamConfig config_ QUORL_GUARDED_BY(queue_);
  PixelSize encodedSize_ QUORL_GUARDED_BY(queue_);
  bool stopped_ QUORL_GUARDED_BY(queue_) = false;
  bool announced_ QUORL_GUARDED_BY(queue_) = false;
  std::uint64_t epoch_ QUORL_GUARDED_BY(queue_) = 0;  // results of older epochs are ignored
  FitState fit_ QUORL_GUARDED_BY(queue_);
  Timer refitWork_ QUORL_GUARDED_BY(queue_);

  mutable std::mutex contentRectLock_;
  PointRect contentRect_;  // written on the queue, under contentRectLock_
};

}  // namespace quorl
