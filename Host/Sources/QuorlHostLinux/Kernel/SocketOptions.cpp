// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/SocketOptions.h>

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>

namespace quorl {

namespace {

// tcp(7): the first probe after 20 s of silence, then each 8 s; data or probes unanswered for 45 s end the
// connection, so that a peer that has gone occupies its place for less than a minute.
constexpr int keepAliveIdleSeconds = 20;
constexpr int keepAliveIntervalSeconds = 8;
constexpr int keepAliveProbes = 4;
constexpr unsigned userTimeoutMilliseconds = 45'000;

// A reachable peer answers each within a round trip.
constexpr std::uint32_t silentProbesOfTheVanished = 4;

}  // namespace

void configureSessionSocket(int descriptor) {
  setSocketOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
  setSocketOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
  setSocketOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, keepAliveIdleSeconds);
  setSocketOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, keepAliveIntervalSeconds);
  setSocketOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, keepAliveProbes);
  setSocketOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, userTimeoutMilliseconds);
}

void acceptOnlyWithInput(int listener) {
  setSocketOption(listener, IPPROTO_TCP, TCP_DEFER_ACCEPT, 1);
}

// Since Linux 5.11 the user time-out includes the time in which the peer's window is closed, even if it
// answers every probe: a suspended client would lose its connection after 45 seconds. So the time-out is off
// while nothing is in flight and probes are answered.
unsigned userTimeoutFor(const Unacknowledged& state) {
  const bool waitsForWindow = state.bytes > 0 && state.inFlight == 0;
  return waitsForWindow && state.silentProbes < silentProbesOfTheVanished ? 0 : userTimeoutMilliseconds;
}

bool reviewUserTimeout(int descriptor) {
  int bytes = 0;
  tcp_info info{};
  socklen_t size = sizeof info;
  if (::ioctl(descriptor, SIOCOUTQ, &bytes) != 0 ||
      ::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0)
    return false;
  const unsigned timeout =
      userTimeoutFor({static_cast<std::size_t>(bytes), info.tcpi_unacked, info.tcpi_probes});
  setSocketOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, timeout);
  return bytes > 0;
}

}  // namespace quorl
