// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Link/PictureGate.h>
#include <QuorlHostCore/Ports/Network.h>
#include <QuorlHostCore/Session/HeldFrames.h>
#include <QuorlHostCore/Shared/StreamOutputSink.h>

namespace quorl {

/// The way of one client's frames to its transport, in order. The transport is given a few frames at a time;
/// what it has no room for waits here, where newer state replaces older.
///
/// *Queue*: its connection's, all operations. *Ownership*: its connection's, shared; holds the transport.
/// *Lifetime*: completions hold it weakly.
class SendPath : public std::enable_shared_from_this<SendPath> {
 public:
  /// Bytes; equal does not count.
  static constexpr std::size_t backpressureThreshold = 12'582'912;
  /// What one frame on its way out costs besides its bytes, so that many tiny ones count as well.
  static constexpr std::size_t frameOverhead = 256;
  /// What the transport is given at a time.
  static constexpr std::size_t transportShare = 262'144;

  /// Called after each completion, with the error if there was one.
  using Progress = std::function<void(const std::optional<PortError>&)>;

  SendPath(SerialQueue queue, std::shared_ptr<NetworkConnection> transport, std::shared_ptr<PictureGate> gate,
           Progress progress);

  /// The frame's bytes have been reported to the gate as accepted. False when it was dropped.
  bool send(OutgoingFrame frame, Droppable droppable, Purpose purpose,
            const std::optional<StateKey>& key = std::nullopt);
  /// Gives everything that waits to the transport, before it is cancelled.
  void handOverAll();

  /// Bytes of frames that wait here or at the transport.
  std::size_t outstandingBytes() const;
  bool isBackpressured() const;
  /// What the peer asked for and has not read yet, frames' overhead included.
  std::size_t answerBacklog() const;
  /// Whether events of agents were left out since the last call, and all else has left.
  bool takeLostAgentEvents();

 private:
  void handOver(HeldFrames::Held held) QUORL_REQUIRES(queue_);
  void sent(std::size_t byteCount, Purpose purpose, const std::optional<PortError>& error)
      QUORL_REQUIRES(queue_);
  void uncount(std::size_t byteCount, Purpose purpose) QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<NetworkConnection> transport_;
  const std::shared_ptr<PictureGate> gate_;
  const Progress progress_;

  HeldFrames held_ QUORL_GUARDED_BY(queue_);
  std::size_t outstandingBytes_ QUORL_GUARDED_BY(queue_) = 0;
  std::size_t atTransport_ QUORL_GUARDED_BY(queue_) = 0;  // bytes of these that the transport was given
  std::size_t answerBytes_ QUORL_GUARDED_BY(queue_) = 0;
  std::size_t answers_ QUORL_GUARDED_BY(queue_) = 0;
};

}  // namespace quorl
