// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Network/LinkMonitor.h>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

namespace quorl {

namespace {

Descriptor openNotifications() {
  Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
  if (!socket.isOpen() || bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    return {};
  return socket;
}

// The content does not matter: the addresses are read anew. An overflow (ENOBUFS) is a notification, too.
bool readAll(int socket) {
  std::array<char, 8192> buffer;
  for (;;) {
    if (recv(socket, buffer.data(), buffer.size(), 0) >= 0 || errno == ENOBUFS || errno == EINTR) continue;
    return errno == EAGAIN;
  }
}

}  // namespace

LinkMonitor::LinkMonitor(std::function<void()> handler)
    : handler_(std::move(handler)), socket_(openNotifications()) {
  if (socket_.isOpen()) thread_ = std::thread([this] { run(); });
}

LinkMonitor::~LinkMonitor() {
  end_.wake();
  if (thread_.joinable()) thread_.join();
}

void LinkMonitor::run() {
  for (;;) {
    std::array<pollfd, 2> events{{{.fd = socket_.get(), .events = POLLIN, .revents = 0},
                                  {.fd = end_.descriptor(), .events = POLLIN, .revents = 0}}};
    if (poll(events.data(), events.size(), -1) < 0 && errno != EINTR) return;
    if (events[1].revents != 0) return;
    if (events[0].revents == 0) continue;
    if (!readAll(socket_.get())) return;
    handler_();
  }
}

}  // namespace quorl
