// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>

namespace quorl {

/// Decides whether one client is sent a pushed state that it has already. The state of the host has the icons
/// of all applications: on a slow link it would hold up keys and pictures every five seconds.
///
/// *Queue*: the owner's; a value.
class RepeatedState {
 public:
  /// Versions of contents start at 1; 0 means an unknown content, which is always sent.
  using Version = std::uint64_t;

  /// The longest time that a repetition may occupy the link, in seconds.
  static constexpr double longestRepetition = 0.05;

  /// `linkRate` is in bytes per second, 0 while unknown. Counts the state as sent if it is to be sent.
  bool isToBeSent(Version content, std::size_t frameSize, double linkRate) {
    const bool isKnown = content != 0 && content == sent_;
    if (isKnown && linkRate > 0 && static_cast<double>(frameSize) > linkRate * longestRepetition)
      return false;
    sent_ = content;
    return true;
  }

 private:
  Version sent_ = 0;
};

}  // namespace quorl
