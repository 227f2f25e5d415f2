// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>

#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// One picture stream, as the connection that owns it drives it. What each operation does is the stream's
/// affair.
///
/// *Queue*: every operation may be called from any thread; all but `currentContentRect`, which waits for the
/// stream's queue, return at once and act in the order of the calls.
/// *Ownership*: its connection's.
class ClientStream {
 public:
  virtual ~ClientStream() = default;
  virtual void start() = 0;
  /// Takes effect also when the stream is given up right after the call.
  virtual void stop() = 0;
  virtual void update(const StreamConfig& config) = 0;
  virtual void requestKeyframe() = 0;
  virtual void updateAspect(double pointsWide, double pointsHigh) = 0;
  virtual void setAutoFit(bool enabled) = 0;
  virtual void setWindowScale(double scale) = 0;
  virtual void raiseForInput() = 0;
  /// What the picture shows, in global points; empty while nothing is shown.
  virtual PointRect currentContentRect() = 0;
};

using ClientStreamFactory =
    std::function<std::shared_ptr<ClientStream>(const StartStream&, std::weak_ptr<StreamOutputSink>)>;

}  // namespace quorl
