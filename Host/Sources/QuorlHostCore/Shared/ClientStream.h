// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>

#include <QuorlHostCore/Shared/InputHold.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Models/Models.h>

namespace quorl {

/// One picture stream, as its connection controls it.
///
/// *Queue*: every operation may be called from any thread. All but `currentContentRect` only post to the
/// stream's queue, where they act in the order of the calls.
/// *Blocking*: none. No operation waits for the stream's queue, so a connection maps input while that queue
/// encodes a picture.
/// *Ownership*: shared; the connection's stream table holds it.
/// *Lifetime*: destruction stops the stream.
class ClientStream {
 public:
  virtual ~ClientStream() = default;
  virtual void start() = 0;
  /// Takes effect even when the last reference is released right after the call.
  virtual void stop() = 0;
  virtual void update(const StreamConfig& config) = 0;
  virtual void requestKeyframe() = 0;
  virtual void updateAspect(double pointsWide, double pointsHigh) = 0;
  virtual void setAutoFit(bool enabled) = 0;
  virtual void setWindowScale(double scale) = 0;
  /// Brings the window that the stream shows to the front, if that is not the case. At most once a second; in
  /// between it does nothing. If it may have to, calls `holdInput` in place, unless it is empty, and lets go
  /// of the result when the window is in front or nothing is to be done.
  virtual void raiseForInput(const HoldInput& holdInput) = 0;
  /// The part of the desktop that the picture shows, in global points; empty before the first capture. Read
  /// in place, under a lock of its own.
  virtual PointRect currentContentRect() const = 0;
};

using ClientStreamFactory =
    std::function<std::shared_ptr<ClientStream>(const StartStream&, std::weak_ptr<StreamOutputSink>)>;

}  // namespace quorl
