// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include <QuorlKit/Protocol/VideoUDP.h>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

// Decides what becomes of the datagrams of a connection: pictures in the order of their numbers, or, where
// one is missing, nothing until the next key frame, because every other picture builds on the missing one.
//
// A gap is a loss at once when nothing of the missing frame has come; while a part of it is there, its rest
// may still come within `patience`. Where nothing at all follows a frame that came in part, `quiet` decides.
// Loss asks for a key frame, and again each `repeatAfter` until one comes.
// Queue: one at a time. Ownership: a value. Time comes in with each call.
class DatagramVideo {
 public:
  static constexpr std::size_t window = 8;
  static constexpr auto patience = std::chrono::milliseconds(30);
  static constexpr auto quiet = std::chrono::milliseconds(100);
  static constexpr auto repeatAfter = std::chrono::milliseconds(500);

  struct Actions {
    std::vector<VideoPacket> pictures;
    bool needsKeyframe = false;
  };

  Actions accept(ByteView datagram, Clock::time_point now);
  // When `tick` is due; nothing while all is well.
  std::optional<Clock::time_point> nextTick() const;
  Actions tick(Clock::time_point now);

  // Frames that were lost, or came and could not be shown for a loss before them.
  std::uint64_t lostFrames() const { return lostFrames_; }
  std::uint64_t ignoredDatagrams() const { return ignoredDatagrams_; }

 private:
  void deliverInOrder(Actions& actions, Clock::time_point now);
  bool mayStillComplete(Clock::time_point now) const;
  void giveUpGap(Actions& actions, Clock::time_point now);
  void settle(Actions& actions, Clock::time_point now);
  bool isStalled() const;
  void askForKeyframe(Actions& actions, Clock::time_point now);

  VideoUDP::Reassembler reassembler_{window};
  // Whole frames behind a gap.
  std::map<std::uint32_t, VideoPacket> waiting_;
  // The number of the next frame to deliver, 0 before the first.
  std::uint32_t next_ = 0;
  bool awaitingKeyframe_ = true;
  Clock::time_point lastArrival_;
  std::optional<Clock::time_point> gapSince_;
  std::optional<Clock::time_point> askAgainAt_;
  std::uint64_t lostFrames_ = 0;
  std::uint64_t ignoredDatagrams_ = 0;
};

}  // namespace quorl::client
