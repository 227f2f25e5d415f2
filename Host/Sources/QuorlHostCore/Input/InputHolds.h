// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <vector>

#include <QuorlHostCore/Input/WaitingInput.h>

namespace quorl {

/// Clients whose input waits until a window is in front, with that input in its order. Other clients' input
/// does not wait.
///
/// *Queue*: one thread at a time.
class InputHolds {
 public:
  using Action = std::move_only_function<void()>;

  /// In 300 ms no person makes as many events. With more, a client's input waits no longer.
  static constexpr std::size_t maximumActions = 10'000;

  /// True if the client's input did not wait before.
  bool begin(InputSource source, std::uint64_t ticket);
  /// True if the client's input waits for no other ticket now: `release` is due.
  bool end(InputSource source, std::uint64_t ticket);

  bool isHeld(InputSource source) const { return holds_.contains(source); }
  /// Adds to the input of a held client. False if that is too much: `release` is due.
  bool add(InputSource source, Action action, bool isRelease);
  /// Ends the hold and returns what has waited.
  std::vector<Action> release(InputSource source);
  /// Ends the hold of a client that is gone and returns the releases of keys and buttons among what has
  /// waited.
  std::vector<Action> drop(InputSource source);

 private:
  struct Hold {
    std::set<std::uint64_t> tickets;
    std::vector<Action> actions;
    std::vector<std::size_t> releases;  // indices into `actions`
  };

  std::map<InputSource, Hold> holds_;
};

}  // namespace quorl
