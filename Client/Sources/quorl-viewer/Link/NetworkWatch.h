// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <set>
#include <span>
#include <string>

#include <QuorlUnix/Descriptor.h>

struct nlmsghdr;

namespace quorl::viewer {

/// Reports that the computer has got an address or a default route, which may lead to a host that could not
/// be reached (rtnetlink(7), RTM_NEWADDR and RTM_NEWROUTE). A router that renews an address and the
/// link-local address of an interface, as each container brings one, do not count. Sees the network namespace
/// of the thread that makes it.
///
/// *Queue*: one thread. *Ownership*: a value.
class NetworkWatch {
 public:
  NetworkWatch();

  /// Readable after a change. -1: the kernel gives no notifications.
  int descriptor() const { return notifications_.get(); }
  /// Whether one has come since the last call. Makes the descriptor wait again.
  bool hasGained();

 private:
  void take(std::span<const char> messages);
  void takeAddress(const nlmsghdr& message);

  Descriptor notifications_;
  std::set<std::string> known_;  // addresses with their interfaces, as the kernel writes them
  bool hasGained_ = false;
};

}  // namespace quorl::viewer
