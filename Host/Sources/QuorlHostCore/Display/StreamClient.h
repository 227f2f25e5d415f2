// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include <QuorlHostCore/Display/VideoEncoder.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Protocol/Handshake.h>

namespace quorl {

/// The messages of one stream to its client.
///
/// *Queue*: any thread, as the sink.
/// *Blocking*: none.
/// *Ownership*: a value. Holds the sink weakly; for an expired one everything is dropped.
class StreamClient {
 public:
  StreamClient(std::weak_ptr<StreamOutputSink> sink, std::uint32_t streamID);

  void sendStarted(PixelSize size, const PointRect& contentRect) const;
  void sendFitState(bool fitted) const;
  void sendStopped() const;
  /// Also logs the failure.
  void sendFailure(const WireError& error) const;

  void sendConfiguration(SharedBytes record) const;
  void sendPicture(const VideoEncoder::EncodedChunk& chunk) const;
  /// The budget for the next picture; see `StreamOutputSink::admitPicture`.
  std::optional<PictureBudget> admit(double wantedRate, std::function<void()> whenOpen) const;

 private:
  void send(ControlMessage message) const;

  std::weak_ptr<StreamOutputSink> sink_;
  std::uint32_t streamID_;
};

}  // namespace quorl
