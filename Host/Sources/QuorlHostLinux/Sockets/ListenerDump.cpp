// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sockets/ListenerDump.h>

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>

#include <QuorlHostPosix/SystemError.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

constexpr std::size_t bufferSize = 65'536;

PortError failure(int number) {
  PortError error = systemError(number);
  error.description = "sock_diag failed: " + error.description;
  return error;
}

bool requestListeners(int socket, std::uint8_t family) {
  struct {
    nlmsghdr header;
    inet_diag_req_v2 query;
  } request{};
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.query.sdiag_family = family;
  request.query.sdiag_protocol = IPPROTO_TCP;
  request.query.idiag_states = 1U << TCP_LISTEN;
  return send(socket, &request, sizeof request, 0) == static_cast<ssize_t>(sizeof request);
}

KernelListener listenerOf(const inet_diag_msg& message) {
  KernelListener listener{
      .port = ntohs(message.id.idiag_sport),
      .isIPv6 = message.idiag_family == AF_INET6,
      .user = message.idiag_uid,
      .inode = message.idiag_inode,
      .cookie = std::uint64_t{message.id.idiag_cookie[1]} << 32 | message.id.idiag_cookie[0]};
  static_assert(sizeof message.id.idiag_src == sizeof listener.address);
  std::memcpy(listener.address.data(), message.id.idiag_src, sizeof listener.address);
  return listener;
}

enum class Dump : std::uint8_t { goesOn, isComplete };

// Adds the sockets of one datagram of the kernel.
std::expected<Dump, PortError> addListeners(std::span<const char> datagram,
                                            std::vector<KernelListener>& listeners) {
  auto left = static_cast<unsigned>(datagram.size());
  for (const auto* header = reinterpret_cast<const nlmsghdr*>(datagram.data()); NLMSG_OK(header, left);
       header = NLMSG_NEXT(header, left)) {
    if (header->nlmsg_type == NLMSG_DONE) return Dump::isComplete;
    if (header->nlmsg_type == NLMSG_ERROR) {
      const bool isWhole = header->nlmsg_len >= NLMSG_LENGTH(sizeof(nlmsgerr));
      return std::unexpected(
          failure(isWhole ? -static_cast<const nlmsgerr*>(NLMSG_DATA(header))->error : EPROTO));
    }
    if (header->nlmsg_type == SOCK_DIAG_BY_FAMILY && header->nlmsg_len >= NLMSG_LENGTH(sizeof(inet_diag_msg)))
      listeners.push_back(listenerOf(*static_cast<const inet_diag_msg*>(NLMSG_DATA(header))));
  }
  return Dump::goesOn;
}

std::expected<void, PortError> dumpFamily(int socket, std::uint8_t family,
                                          std::vector<KernelListener>& listeners) {
  if (!requestListeners(socket, family)) return std::unexpected(failure(errno));
  alignas(nlmsghdr) std::array<char, bufferSize> buffer;
  for (;;) {
    const ssize_t count = recv(socket, buffer.data(), buffer.size(), 0);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return std::unexpected(failure(count == 0 ? EPROTO : errno));
    const auto dump = addListeners(std::span(buffer).first(static_cast<std::size_t>(count)), listeners);
    if (!dump) return std::unexpected(dump.error());
    if (*dump == Dump::isComplete) return {};
  }
}

bool isAll(std::span<const std::uint8_t> bytes, std::uint8_t value) {
  return std::ranges::all_of(bytes, [value](std::uint8_t byte) { return byte == value; });
}

}  // namespace

std::expected<std::vector<KernelListener>, PortError> dumpListeners() {
  const Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
  if (!socket.isOpen()) return std::unexpected(failure(errno));
  std::vector<KernelListener> listeners;
  for (const std::uint8_t family : {AF_INET, AF_INET6})
    if (const auto dumped = dumpFamily(socket.get(), family, listeners); !dumped)
      return std::unexpected(dumped.error());
  return listeners;
}

ListeningSocket::Reach reachOf(const KernelListener& listener) {
  using Reach = ListeningSocket::Reach;
  constexpr std::array<std::uint8_t, 4> loopback{127, 0, 0, 1};
  const std::span<const std::uint8_t, 16> address(listener.address);
  const bool isMapped = isAll(address.first<10>(), 0) && isAll(address.subspan<10, 2>(), 0xFF);
  if (listener.isIPv6 && !isMapped) {
    if (isAll(address, 0)) return Reach::everywhere;
    return isAll(address.first<15>(), 0) && address[15] == 1 ? Reach::loopback : Reach::oneAddress;
  }
  const auto version4 = listener.isIPv6 ? address.last<4>() : address.first<4>();
  if (isAll(version4, 0)) return Reach::everywhere;
  return std::ranges::equal(version4, loopback) ? Reach::loopback : Reach::oneAddress;
}

}  // namespace quorl
