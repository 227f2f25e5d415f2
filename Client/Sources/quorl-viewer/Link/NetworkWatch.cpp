// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/NetworkWatch.h>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace quorl::viewer {
namespace {

bool holdsGain(const nlmsghdr* message, std::size_t size) {
  for (auto left = static_cast<unsigned>(size); NLMSG_OK(message, left); message = NLMSG_NEXT(message, left))
    if (message->nlmsg_type == RTM_NEWADDR || message->nlmsg_type == RTM_NEWROUTE) return true;
  return false;
}

}  // namespace

NetworkWatch::NetworkWatch()
    : notifications_(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE)) {
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
  if (!notifications_.isOpen() ||
      ::bind(notifications_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    notifications_ = {};
}

bool NetworkWatch::hasGained() {
  if (!notifications_.isOpen()) return false;
  bool hasGained = false;
  for (;;) {
    alignas(nlmsghdr) std::array<char, 8192> buffer;
    const auto size = ::recv(notifications_.get(), buffer.data(), buffer.size(), 0);
    if (size > 0) {
      hasGained =
          holdsGain(reinterpret_cast<const nlmsghdr*>(buffer.data()), static_cast<std::size_t>(size)) ||
          hasGained;
    } else if (size == 0 || (errno != ENOBUFS && errno != EINTR)) {
      return hasGained;
    } else if (errno == ENOBUFS) {
      hasGained = true;  // notifications were lost
    }
  }
}

}  // namespace quorl::viewer
