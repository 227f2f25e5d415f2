// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <optional>

#include <QuorlHostCore/Session/StateKey.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>

namespace quorl {

/// Whether the peer asked for a frame. Only what it asked for makes the host stop listening to it.
enum class Purpose : std::uint8_t { answer, other };

/// Frames that wait because their client does not keep up, in order. A frame that says how things are now
/// takes an older one of the same key out, so that however long a client reads nothing, one of each is kept.
/// Too many events of agents are taken out altogether; a list of all agents must then be sent in their place.
///
/// *Queue*: none of its own; a value of its owner's.
class HeldFrames {
 public:
  struct Held {
    OutgoingFrame frame;
    Purpose purpose = Purpose::other;
  };
  /// More agents than anybody runs.
  static constexpr std::size_t mostAgentEvents = 256;

  /// Returns the frames that this one makes worthless.
  std::list<Held> push(Held held, const std::optional<StateKey>& key);
  std::optional<Held> pop();
  bool isEmpty() const { return entries_.empty(); }

  /// Whether events of agents were taken out since the last call.
  bool takeLostAgentEvents();

 private:
  struct Entry {
    Held held;
    std::optional<StateKey> key;
  };
  using Entries = std::list<Entry>;

  void remove(const StateKey& key, std::list<Held>& removed);

  Entries entries_;
  std::map<StateKey, Entries::iterator> byKey_;
  std::size_t agentEvents_ = 0;
  bool lostAgentEvents_ = false;
};

}  // namespace quorl
