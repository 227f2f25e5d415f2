// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <deque>
#include <list>
#include <map>
#include <optional>

#include <QuorlHostCore/Session/StateKey.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>

namespace quorl {

/// Whether the peer asked for a frame. Only answers count for the limit at which the host stops reading from
/// it.
enum class Purpose : std::uint8_t { answer, other };

/// Frames that wait because their client does not keep up, in order. A frame with state removes an older one
/// with the same key, so that one of each kind is kept however long a client reads nothing. Beyond a limit
/// all events of agents are removed; a list of all agents must then replace them. Beyond a limit each packet
/// of sound removes the oldest one, so that the client hears what plays now.
///
/// *Queue*: the owner's; a value.
class HeldFrames {
 public:
  struct Held {
    OutgoingFrame frame;
    Purpose purpose = Purpose::other;
  };
  /// More agents than any user runs.
  static constexpr std::size_t mostAgentEvents = 256;
  /// 341 ms of sound at 48,000 samples a second and 1,024 samples a packet.
  static constexpr std::size_t mostSoundPackets = 16;

  /// Returns the frames that this one replaces.
  std::list<Held> push(Held held, const std::optional<StateKey>& key);
  std::optional<Held> pop();
  /// The frame that `pop` returns next; nullptr if there is none.
  const OutgoingFrame* front() const { return entries_.empty() ? nullptr : &entries_.front().held.frame; }
  bool isEmpty() const { return entries_.empty(); }

  /// Whether events of agents were removed since the last call.
  bool takeLostAgentEvents();

 private:
  struct Entry {
    Held held;
    std::optional<StateKey> key;
  };
  using Entries = std::list<Entry>;

  void remove(const StateKey& key, std::list<Held>& removed);
  void removeOldestSound(std::list<Held>& removed);

  Entries entries_;
  std::deque<Entries::iterator> sound_;  // in order
  std::map<StateKey, Entries::iterator> byKey_;
  std::size_t agentEvents_ = 0;
  bool lostAgentEvents_ = false;
};

}  // namespace quorl
