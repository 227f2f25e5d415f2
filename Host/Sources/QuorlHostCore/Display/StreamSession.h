// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/Platform.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

class StreamOutputSink;

/// One picture stream to one client: resolves what the client asked to see, runs capture and encoder, keeps
/// the reported content rectangle current and hands the pictures to the client's sink.
///
/// *Queue*: owns "quorl.stream.<id>" (rank `stream`). Every operation may be called from any thread, returns
/// at once and does its work on the queue; `currentContentRect` alone answers in place, without waiting.
/// *Ownership*: made with std::make_shared and held by the connection; holds its sink weakly, and a sink that
/// has gone counts as unsubscribed.
/// *Lifetime*: `stop` before release, so that a fitted window goes back; a release alone ends the capture and
/// the encoder as well.
class StreamSession : public std::enable_shared_from_this<StreamSession> {
 public:
  StreamSession(StartStream request, std::weak_ptr<StreamOutputSink> sink, const Platform& platform);
  StreamSession(const StreamSession&) = delete;
  StreamSession& operator=(const StreamSession&) = delete;
  ~StreamSession();

  const SerialQueue& queue() const;

  void start();
  void stop();
  void update(const StreamConfig& config);
  void requestKeyframe();
  void updateAspect(double pointsWide, double pointsHigh);
  void setAutoFit(bool enabled);
  void setWindowScale(double scale);
  void raiseForInput();

  /// The part of the desktop that the picture shows, in global points; empty before the first capture.
  PointRect currentContentRect() const;

 private:
  class State;
  std::shared_ptr<State> state_;
};

}  // namespace quorl
