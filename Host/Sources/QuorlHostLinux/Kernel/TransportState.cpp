// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/TransportState.h>

#include <algorithm>
#include <cstdint>

// The kernel's own header, because the C library's lacks the fields that came after 2012.
#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

#include <QuorlHostPosix/SocketOptions.h>

namespace quorl {

std::optional<TransportState> readTransport(int descriptor) {
  int bytes = 0;
  tcp_info info{};
  socklen_t size = sizeof info;
  if (::ioctl(descriptor, SIOCOUTQ, &bytes) != 0 || bytes < 0 ||
      ::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0)
    return std::nullopt;
  // All ones while none was measured (tcp_min_rtt in the kernel).
  const bool isMeasured = info.tcpi_min_rtt != 0 && info.tcpi_min_rtt != ~std::uint32_t{0};
  return TransportState{.unacknowledged = static_cast<std::size_t>(bytes),
                        .shortestRoundTrip = std::chrono::microseconds(isMeasured ? info.tcpi_min_rtt : 0)};
}

void setUnsentLimit(int descriptor, std::size_t bytes) {
  const auto limit = static_cast<unsigned>(std::min<std::size_t>(bytes, 1U << 30));
  setSocketOption(descriptor, IPPROTO_TCP, TCP_NOTSENT_LOWAT, limit);
}

}  // namespace quorl
