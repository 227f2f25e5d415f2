// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

namespace quorl {

/// The thread that runs the application loop.
///
/// *Queue*: any thread may post; work runs on the main thread.
/// *Blocking*: none.
/// *Ownership*: takes the work.
/// *Lifetime*: work that has not run when the loop ends is dropped.
class MainThread {
 public:
  virtual ~MainThread() = default;
  /// Runs `work` later, in the order of the calls.
  virtual void post(std::move_only_function<void()> work) = 0;
};

}  // namespace quorl
