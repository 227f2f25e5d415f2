// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <mutex>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

/// Ends a connection from another thread, so that a thread that waits for a server which does not answer
/// continues. A connection that is still being made cannot be ended.
///
/// *Queue*: `opened` and `closed` on the connection's thread, `cut` on any.
class ConnectionCut {
 public:
  void opened(const X11Connection& connection);
  /// Before the connection is destroyed.
  void closed();
  void cut();

 private:
  std::mutex mutex_;
  int descriptor_ = -1;  // guarded by mutex_; the connection's own
};

}  // namespace quorl
