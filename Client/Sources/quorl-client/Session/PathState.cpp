// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/PathState.h>

#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace quorl::client {

std::optional<PathState> pathStateOf(int descriptor) {
  tcp_info info{};
  socklen_t size = sizeof info;
  int underWay = 0;
  if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return std::nullopt;
  if (::ioctl(descriptor, SIOCOUTQ, &underWay) != 0) return std::nullopt;
  return PathState{std::chrono::microseconds(info.tcpi_rtt), std::chrono::microseconds(info.tcpi_min_rtt),
                   static_cast<std::size_t>(underWay)};
}

}  // namespace quorl::client
