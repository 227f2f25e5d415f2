// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/Sockets.h>

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <fmt/format.h>

namespace quorl::client {
namespace {

struct Endpoint {
  sockaddr_storage storage{};
  socklen_t size = 0;
};

struct Resolution {
  int status = EAI_AGAIN;
  std::vector<Endpoint> endpoints;
};

Resolution resolveNow(const HostAddress& address, int flags) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = flags | AI_NUMERICSERV;
  addrinfo* list = nullptr;
  Resolution result;
  result.status = ::getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &list);
  if (result.status != 0) return result;
  for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
    Endpoint endpoint;
    std::memcpy(&endpoint.storage, entry->ai_addr, entry->ai_addrlen);
    endpoint.size = entry->ai_addrlen;
    result.endpoints.push_back(endpoint);
  }
  ::freeaddrinfo(list);
  return result;
}

// The resolver has no deadline, so it runs on a thread that may outlive the wait.
struct PendingResolution {
  Descriptor done{::eventfd(0, EFD_CLOEXEC)};
  std::mutex lock;
  Resolution result;
};

Outcome<std::vector<Endpoint>> resolve(const HostAddress& address, Waiter& waiter, Deadline deadline) {
  if (auto numeric = resolveNow(address, AI_NUMERICHOST); numeric.status == 0) return numeric.endpoints;
  auto pending = std::make_shared<PendingResolution>();
  std::thread([pending, address] {
    auto result = resolveNow(address, AI_ADDRCONFIG);
    const std::scoped_lock guard(pending->lock);
    pending->result = std::move(result);
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(pending->done.get(), &one, sizeof one);
  }).detach();
  pollfd descriptor{pending->done.get(), POLLIN, 0};
  const auto ready = waiter.wait({&descriptor, 1}, deadline);
  if (!ready) return std::unexpected(ready.error());
  const std::scoped_lock guard(pending->lock);
  if (*ready == Waiter::Ready::deadline)
    return failed(ExitCode::unreachable, fmt::format("no answer when looking up the name {}", address.host),
                  "Check the network, or give the host's numeric address.");
  if (pending->result.status != 0)
    return failed(ExitCode::unreachable,
                  fmt::format("{} cannot be found: {}", address.host, ::gai_strerror(pending->result.status)),
                  "Check the spelling, or use an address: the host's setup window and 'quorl_client "
                  "discover' show it.");
  return pending->result.endpoints;
}

// 0, or the errno of the attempt.
Outcome<int> attempt(const Endpoint& endpoint, Descriptor& out, Waiter& waiter, Deadline deadline) {
  Descriptor descriptor(::socket(endpoint.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!descriptor.isOpen()) return errno;
  if (::connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&endpoint.storage), endpoint.size) != 0) {
    if (errno != EINPROGRESS) return errno;
    pollfd watched{descriptor.get(), POLLOUT, 0};
    const auto ready = waiter.wait({&watched, 1}, deadline);
    if (!ready) return std::unexpected(ready.error());
    if (*ready == Waiter::Ready::deadline) return ETIMEDOUT;
    int status = 0;
    socklen_t size = sizeof status;
    ::getsockopt(descriptor.get(), SOL_SOCKET, SO_ERROR, &status, &size);
    if (status != 0) return status;
  }
  out = std::move(descriptor);
  return 0;
}

void tune(int descriptor) {
  const int on = 1;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  ::setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  // Detects a vanished host while data is unacknowledged (RFC 5482).
  const unsigned int milliseconds = 30'000;
  ::setsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &milliseconds, sizeof milliseconds);
}

std::unexpected<ClientError> unreachable(const HostAddress& address, int status) {
  if (status == ECONNREFUSED)
    return failed(ExitCode::unreachable,
                  fmt::format("nothing listens at {} on port {}", address.host, address.port),
                  "Start Quorl Host on that computer, or check the port.");
  if (status == ETIMEDOUT)
    return failed(ExitCode::unreachable,
                  fmt::format("no answer from {} on port {}", address.host, address.port),
                  "Check that the computer is awake and that no firewall blocks the port.");
  return failed(
      ExitCode::unreachable,
      fmt::format("{} cannot be reached on port {}: {}", address.host, address.port, std::strerror(status)),
      "Check the address and the network.");
}

std::size_t copyAddressBytes(const sockaddr_storage& address, std::array<std::uint8_t, 16>& out) {
  if (address.ss_family == AF_INET) {
    const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
    std::memcpy(out.data(), &v4.sin_addr, sizeof v4.sin_addr);
    return sizeof v4.sin_addr;
  }
  const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
  std::memcpy(out.data(), &v6.sin6_addr, sizeof v6.sin6_addr);
  return sizeof v6.sin6_addr;
}

}  // namespace

Outcome<Descriptor> connectTCP(const HostAddress& address, Waiter& waiter, Deadline deadline) {
  const auto endpoints = resolve(address, waiter, deadline);
  if (!endpoints) return std::unexpected(endpoints.error());
  int lastStatus = EADDRNOTAVAIL;
  for (std::size_t index = 0; index < endpoints->size(); ++index) {
    const auto now = Clock::now();
    if (now >= deadline) break;
    const auto share = (deadline - now) / static_cast<int>(endpoints->size() - index);
    Descriptor descriptor;
    const auto status = attempt((*endpoints)[index], descriptor, waiter, now + share);
    if (!status) return std::unexpected(status.error());
    if (*status == 0) {
      tune(descriptor.get());
      return descriptor;
    }
    lastStatus = *status;
  }
  return unreachable(address, lastStatus);
}

Outcome<DatagramSocket> openDatagramSocket(int session) {
  // The local address and family of the session, because the host sends to that address.
  sockaddr_storage local{};
  socklen_t size = sizeof local;
  if (::getsockname(session, reinterpret_cast<sockaddr*>(&local), &size) != 0)
    return failed(ExitCode::failure, std::string("no local address: ") + std::strerror(errno));
  if (local.ss_family == AF_INET)
    reinterpret_cast<sockaddr_in&>(local).sin_port = 0;
  else
    reinterpret_cast<sockaddr_in6&>(local).sin6_port = 0;
  Descriptor descriptor(::socket(local.ss_family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  // A key frame is a burst of about a thousand datagrams. The kernel may grant less.
  const int wanted = 8 << 20;
  if (descriptor.isOpen()) ::setsockopt(descriptor.get(), SOL_SOCKET, SO_RCVBUF, &wanted, sizeof wanted);
  if (!descriptor.isOpen() || ::bind(descriptor.get(), reinterpret_cast<sockaddr*>(&local), size) != 0 ||
      ::getsockname(descriptor.get(), reinterpret_cast<sockaddr*>(&local), &size) != 0)
    return failed(ExitCode::failure, std::string("no UDP port: ") + std::strerror(errno),
                  "Try again without --udp.");
  const auto port = local.ss_family == AF_INET ? reinterpret_cast<sockaddr_in&>(local).sin_port
                                               : reinterpret_cast<sockaddr_in6&>(local).sin6_port;
  return DatagramSocket{std::move(descriptor), ntohs(port)};
}

DatagramReader::DatagramReader(int datagrams, int session) : descriptor_(datagrams) {
  sockaddr_storage peer{};
  socklen_t size = sizeof peer;
  if (::getpeername(session, reinterpret_cast<sockaddr*>(&peer), &size) == 0)
    peerSize_ = copyAddressBytes(peer, peer_);
}

const std::uint8_t* DatagramReader::next(std::size_t& size) {
  for (;;) {
    sockaddr_storage sender{};
    socklen_t senderSize = sizeof sender;
    const auto count = ::recvfrom(descriptor_, buffer_.data(), buffer_.size(), MSG_DONTWAIT,
                                  reinterpret_cast<sockaddr*>(&sender), &senderSize);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return nullptr;
    std::array<std::uint8_t, 16> address{};
    if (copyAddressBytes(sender, address) != peerSize_ || address != peer_) continue;
    size = static_cast<std::size_t>(count);
    return buffer_.data();
  }
}

}  // namespace quorl::client
