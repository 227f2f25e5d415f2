// SPDX-License-Identifier: GPL-3.0-or-later
#include "LimitedLink.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

namespace quorl::bench {

namespace {

constexpr const char* clientAddress = "10.99.2.2";
constexpr double bufferSeconds = 0.2;
constexpr int burstBytes = 5000;
constexpr double stalledBitsPerSecond = 8000;  // the minimum of tbf

// One more packet makes the token bucket apply its new rate at once, not when the wait at the old rate ends.
void nudge(const NetworkSpace& space) {
  space.run([] {
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(9);  // discard
    inet_pton(AF_INET, clientAddress, &address.sin_addr);
    sendto(descriptor, "", 0, 0, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    close(descriptor);
  });
}

// proc(5), net/dev: the ninth field after the name.
std::uint64_t sentBytes(const NetworkSpace& space, std::string_view device) {
  std::uint64_t bytes = 0;
  space.run([&] {
    std::ifstream file("/proc/thread-self/net/dev");
    for (std::string line; std::getline(file, line);) {
      const auto colon = line.find(':');
      if (colon == std::string::npos || line.find(device) > colon) continue;
      std::istringstream fields(line.substr(colon + 1));
      for (int field = 0; field < 9; ++field) fields >> bytes;
    }
  });
  return bytes;
}

}  // namespace

LimitedLink::LimitedLink(LinkShape shape)
    : shape_(std::move(shape)), wire_(hostSide_, middle_, shape_.roundTrip / 2) {
  // The congestion control is set on the route: for a namespace it can be set only if the machine allows it.
  hostSide_.command(fmt::format("ip addr add {}/32 dev tun0 && ip route add default dev tun0 congctl {}",
                                hostAddress, shape_.congestionControl));
  middle_.command(fmt::format(
      "ip link add m0 address 02:00:00:00:02:01 type veth peer name c0 address 02:00:00:00:02:02 netns {}",
      clientSide_.path()));
  middle_.command(fmt::format(
      "ip route add {}/32 dev tun0 && ip addr add 10.99.2.1/24 dev m0 && ip link set m0 up", hostAddress));
  clientSide_.command(fmt::format("ip addr add {}/24 dev c0 && ip link set c0 up", clientAddress));
  clientSide_.command(fmt::format("ip route add default via 10.99.2.1 congctl {}", shape_.congestionControl));
  // Fixed addresses: packets of address resolution would wait in the bottleneck, and a stalled link would
  // lose its neighbour.
  middle_.command(
      fmt::format("ip neigh replace {} lladdr 02:00:00:00:02:02 dev m0 nud permanent", clientAddress));
  clientSide_.command("ip neigh replace 10.99.2.1 lladdr 02:00:00:00:02:01 dev c0 nud permanent");
  middle_.command("echo 1 >/proc/sys/net/ipv4/ip_forward");
  configureTcp(hostSide_);
  configureTcp(clientSide_);
  shapeBottleneck("add", bitsPerSecond());
}

// Debian's defaults, independent of this machine's settings.
void LimitedLink::configureTcp(const NetworkSpace& space) const {
  space.command(
      "cd /proc/sys/net/ipv4 && echo 4096 131072 6291456 >tcp_rmem && echo 4096 16384 4194304 >tcp_wmem");
}

std::string LimitedLink::bucketOf(double bitsPerSecond) const {
  const auto limit = static_cast<int>(shape_.megabits * 1e6 / 8 * bufferSeconds) + burstBytes;
  return fmt::format("tbf rate {:.0f}bit burst {} limit {}", bitsPerSecond, burstBytes, limit);
}

void LimitedLink::shapeBottleneck(const std::string& verb, double bitsPerSecond) const {
  middle_.command(fmt::format("tc qdisc {} dev m0 root handle 1: {}", verb, bucketOf(bitsPerSecond)));
}

void LimitedLink::limitUploads() {
  middle_.command("tc qdisc replace dev tun0 root handle 1: " + bucketOf(bitsPerSecond()));
  limitsUploads_ = true;
}

void LimitedLink::unlimitUploads() {
  if (std::exchange(limitsUploads_, false)) middle_.command("tc qdisc del dev tun0 root");
}

void LimitedLink::setShare(double shareOfRate) {
  shapeBottleneck("change", bitsPerSecond() * shareOfRate);
  nudge(middle_);
}

void LimitedLink::stall() {
  shapeBottleneck("change", stalledBitsPerSecond);
}

std::uint64_t LimitedLink::carriedBytes() const {
  return sentBytes(middle_, "m0");
}

std::uint64_t LimitedLink::uploadedBytes() const {
  return sentBytes(middle_, "tun0");
}

}  // namespace quorl::bench
