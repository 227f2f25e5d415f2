// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include <QuorlKit/Protocol/VideoUDP.h>

#include <quorl-client/Base/Waiter.h>

namespace quorl::client {

/// Makes pictures from the datagrams of a connection, in the order of their frame numbers. After a missing
/// frame it returns nothing until the next key frame, because all pictures between build on the missing one.
///
/// If nothing of a missing frame has arrived, it is lost at once; if a part has arrived, the rest may follow
/// within `patience`. If nothing follows an incomplete frame, it is lost after `quiet`. A loss requests a key
/// frame, and again after each `repeatAfter` until one arrives.
///
/// *Queue*: one at a time. *Ownership*: a value. The time is passed with each call.
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
  /// When `tick` is due; nothing if no frame is awaited.
  std::optional<Clock::time_point> nextTick() const;
  Actions tick(Clock::time_point now);

  /// Frames that were lost, or arrived but could not be shown because of an earlier loss.
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
  // Complete frames after a gap.
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
