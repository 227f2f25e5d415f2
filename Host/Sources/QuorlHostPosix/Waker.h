// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlHostPosix/Pipe.h>

namespace quorl {

/// Wakes a thread that waits on a descriptor.
///
/// *Queue*: `wake` from any thread, `drain` on the waiting one.
/// *Blocking*: never.
class Waker {
 public:
  Waker();
  Waker(const Waker&) = delete;
  Waker& operator=(const Waker&) = delete;

  /// Makes the descriptor readable until the next `drain`.
  void wake() const;
  void drain() const;
  int descriptor() const { return pipe_.readEnd.get(); }

 private:
  Pipe pipe_;
};

}  // namespace quorl
