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

/// Passes one client's frames to its transport, in order and a few at a time. Frames that the transport has
/// no room for wait here, where newer state replaces older state.
///
/// *Queue*: its connection's, for all operations.
/// *Blocking*: none.
/// *Ownership*: its connection's, shared; holds the transport.
/// *Lifetime*: completions hold it weakly. Destruction drops waiting frames.
class SendPath : public std::enable_shared_from_this<SendPath> {
 public:
  /// In bytes; a backlog of exactly this much is not over it.
  static constexpr std::size_t backpressureThreshold = 12'582'912;
  /// The overhead of one waiting frame in bytes, so that many small frames count too.
  static constexpr std::size_t frameOverhead = 256;
  /// Bytes that the transport holds at a time.
  static constexpr std::size_t transportShare = 262'144;
  /// Packets of sound that the transport holds at a time: 171 ms. Its share of bytes would be 13 seconds.
  static constexpr std::size_t transportSoundPackets = 8;

  /// Called after each completion, with the error if any.
  using Progress = std::function<void(const std::optional<PortError>&)>;

  SendPath(SerialQueue queue, std::shared_ptr<NetworkConnection> transport, std::shared_ptr<PictureGate> gate,
           Progress progress);

  /// The caller has reported the frame's bytes to the gate as accepted. Returns false if the frame was
  /// dropped.
  bool send(OutgoingFrame frame, Droppable droppable, Purpose purpose,
            const std::optional<StateKey>& key = std::nullopt);
  /// Passes all waiting frames to the transport, before it is cancelled.
  void handOverAll();

  /// Bytes of frames that wait here or in the transport.
  std::size_t outstandingBytes() const;
  bool isBackpressured() const;
  /// Bytes of answers that the peer has not read, with the overhead of frames.
  std::size_t answerBacklog() const;
  /// Whether events of agents were removed since the last call and all other frames have left.
  bool takeLostAgentEvents();

 private:
  bool transportHasRoom(const OutgoingFrame& frame) const QUORL_REQUIRES(queue_);
  void handOver(HeldFrames::Held held) QUORL_REQUIRES(queue_);
  void sent(std::size_t byteCount, FrameType type, Purpose purpose, const std::optional<PortError>& error)
      QUORL_REQUIRES(queue_);
  void uncount(std::size_t byteCount, Purpose purpose) QUORL_REQUIRES(queue_);

  const SerialQueue queue_;
  const std::shared_ptr<NetworkConnection> transport_;
  const std::shared_ptr<PictureGate> gate_;
  const Progress progress_;

  HeldFrames held_ QUORL_GUARDED_BY(queue_);
  std::size_t outstandingBytes_ QUORL_GUARDED_BY(queue_) = 0;
  std::size_t atTransport_ QUORL_GUARDED_BY(queue_) = 0;       // bytes of these in the transport
  std::size_t soundAtTransport_ QUORL_GUARDED_BY(queue_) = 0;  // packets
  std::size_t answerBytes_ QUORL_GUARDED_BY(queue_) = 0;
  std::size_t answers_ QUORL_GUARDED_BY(queue_) = 0;
};

}  // namespace quorl
