// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <vector>

#include <QuorlKit/Models/Models.h>

namespace quorl::viewer {

/// Which targets of a list have a stream for their thumbnail. A host gives a connection eight streams at
/// most, so a list with many windows takes turns.
///
/// *Queue*: one at a time. *Ownership*: a value.
class ThumbnailTurns {
 public:
  static constexpr std::size_t mostStreams = 6;

  struct Actions {
    std::vector<StreamTarget> stops;  // before the starts
    std::vector<StreamTarget> starts;
  };

  /// The targets that are in view, from the top. What has a stream keeps it.
  Actions show(const std::vector<StreamTarget>& targets);
  /// The stream that has run longest gives its place to a target that waits.
  Actions turn();
  /// The target has no pictures; it gets no second stream while it stays in view.
  Actions failed(const StreamTarget& target);
  bool isAnyWaiting() const { return !waiting_.empty(); }

 private:
  void startWaiting(Actions& actions);

  std::vector<StreamTarget> running_;  // the oldest stream first
  std::vector<StreamTarget> waiting_;
  std::vector<StreamTarget> failed_;
};

}  // namespace quorl::viewer
