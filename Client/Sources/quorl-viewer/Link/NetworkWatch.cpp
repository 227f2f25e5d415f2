// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Link/NetworkWatch.h>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

namespace quorl::viewer {
namespace {

// The address itself, or nothing of a message that is cut short or about a link-local address.
std::string addressOf(const nlmsghdr& message) {
  if (message.nlmsg_len < NLMSG_LENGTH(sizeof(ifaddrmsg))) return {};
  const auto* head = static_cast<const ifaddrmsg*>(NLMSG_DATA(&message));
  if (head->ifa_family == AF_INET6 && head->ifa_scope == RT_SCOPE_LINK) return {};
  auto left = static_cast<int>(message.nlmsg_len - NLMSG_LENGTH(sizeof(ifaddrmsg)));
  for (const auto* attribute = IFA_RTA(head); RTA_OK(attribute, left);
       attribute = RTA_NEXT(attribute, left)) {
    if (attribute->rta_type != IFA_ADDRESS) continue;
    const auto* bytes = static_cast<const char*>(RTA_DATA(attribute));
    return std::to_string(head->ifa_index) + ' ' + std::string(bytes, RTA_PAYLOAD(attribute));
  }
  return {};
}

bool isDefaultRoute(const nlmsghdr& message) {
  if (message.nlmsg_len < NLMSG_LENGTH(sizeof(rtmsg))) return false;
  const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(&message));
  return route->rtm_dst_len == 0 && route->rtm_type == RTN_UNICAST;
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
  for (;;) {
    alignas(nlmsghdr) std::array<char, 8192> buffer;
    const auto size = ::recv(notifications_.get(), buffer.data(), buffer.size(), 0);
    if (size > 0)
      take(std::span(buffer).first(static_cast<std::size_t>(size)));
    else if (size == 0 || (errno != ENOBUFS && errno != EINTR))
      return std::exchange(hasGained_, false);
    else if (errno == ENOBUFS)
      hasGained_ = true;  // notifications were lost
  }
}

void NetworkWatch::take(std::span<const char> messages) {
  auto left = static_cast<unsigned>(messages.size());
  const auto* message = reinterpret_cast<const nlmsghdr*>(messages.data());
  for (; NLMSG_OK(message, left); message = NLMSG_NEXT(message, left)) {
    if (message->nlmsg_type == RTM_NEWADDR || message->nlmsg_type == RTM_DELADDR) takeAddress(*message);
    if (message->nlmsg_type == RTM_NEWROUTE && isDefaultRoute(*message)) hasGained_ = true;
  }
}

void NetworkWatch::takeAddress(const nlmsghdr& message) {
  const auto address = addressOf(message);
  if (address.empty()) return;
  if (message.nlmsg_type == RTM_DELADDR)
    known_.erase(address);
  else if (known_.insert(address).second)
    hasGained_ = true;
}

}  // namespace quorl::viewer
