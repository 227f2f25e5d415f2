// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlUnix/Descriptor.h>

namespace quorl::viewer {

/// Reports that the computer has got an address or a route, which may lead to a host that could not be
/// reached (rtnetlink(7), RTM_NEWADDR and RTM_NEWROUTE). Sees the network namespace of the thread that makes
/// it.
///
/// *Queue*: one thread. *Ownership*: a value.
class NetworkWatch {
 public:
  NetworkWatch();

  /// Readable after a change. -1: the kernel gives no notifications.
  int descriptor() const { return notifications_.get(); }
  /// Whether an address or a route has come since the last call. Makes the descriptor wait again.
  bool hasGained();

 private:
  Descriptor notifications_;
};

}  // namespace quorl::viewer
