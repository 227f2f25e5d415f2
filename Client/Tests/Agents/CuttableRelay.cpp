// SPDX-License-Identifier: GPL-3.0-or-later
#include "CuttableRelay.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include <QuorlKit/Foundation/Check.h>

namespace quorl::client::test {
namespace {

struct Pair {
  int number = 0;
  Descriptor client;
  Descriptor host;
};

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

void reset(const Descriptor& socket) {
  const linger hard{1, 0};
  ::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
}

void openPipe(Descriptor& read, Descriptor& write) {
  int ends[2];
  QUORL_CHECK(::pipe2(ends, O_CLOEXEC) == 0, "a pipe can be made");
  read = Descriptor(ends[0]);
  write = Descriptor(ends[1]);
}

}  // namespace

CuttableRelay::CuttableRelay(std::uint16_t hostPort, Tap tap) : hostPort_(hostPort), tap_(std::move(tap)) {
  openPipe(orderRead_, orderWrite_);
  openPipe(doneRead_, doneWrite_);
  listen();
  thread_ = std::thread([this] { run(); });
}

CuttableRelay::~CuttableRelay() {
  give(Order::stop);
  thread_.join();
}

void CuttableRelay::cut() {
  give(Order::cut);
}

void CuttableRelay::mend() {
  give(Order::mend);
}

void CuttableRelay::give(Order order) {
  QUORL_CHECK(::write(orderWrite_.get(), &order, sizeof order) == sizeof order, "the relay takes the order");
  QUORL_CHECK(::read(doneRead_.get(), &order, sizeof order) == sizeof order, "the relay obeys");
}

void CuttableRelay::listen() {
  listener_ = Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int on = 1;
  ::setsockopt(listener_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  auto address = loopback(port_);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  QUORL_CHECK(::bind(listener_.get(), generic, size) == 0, "the relay's port is free");
  QUORL_CHECK(::listen(listener_.get(), 8) == 0, "the relay listens");
  QUORL_CHECK(::getsockname(listener_.get(), generic, &size) == 0, "the relay's port has a number");
  port_ = ntohs(address.sin_port);
}

// False at the end of the stream.
bool CuttableRelay::forward(int from, int to, int connection, bool isFromHost) const {
  std::uint8_t buffer[65'536];
  const auto count = ::recv(from, buffer, sizeof buffer, 0);
  if (count <= 0) return false;
  if (!isFromHost && swallows_) return true;
  if (tap_) tap_(connection, isFromHost, ByteView(buffer, static_cast<std::size_t>(count)));
  for (ssize_t sent = 0; sent < count;) {
    const auto part = ::send(to, buffer + sent, static_cast<std::size_t>(count - sent), MSG_NOSIGNAL);
    if (part <= 0) return false;
    sent += part;
  }
  return true;
}

void CuttableRelay::run() {
  std::vector<Pair> pairs;
  for (;;) {
    std::vector<pollfd> watched{{orderRead_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
    for (const auto& pair : pairs) {
      watched.push_back({pair.client.get(), POLLIN, 0});
      watched.push_back({pair.host.get(), POLLIN, 0});
    }
    if (::poll(watched.data(), watched.size(), -1) < 0) continue;
    for (std::size_t index = pairs.size(); index-- > 0;) {
      const auto& pair = pairs[index];
      const bool isOpen = (watched[2 + 2 * index].revents == 0 ||
                           forward(pair.client.get(), pair.host.get(), pair.number, false)) &&
                          (watched[3 + 2 * index].revents == 0 ||
                           forward(pair.host.get(), pair.client.get(), pair.number, true));
      if (!isOpen) pairs.erase(pairs.begin() + static_cast<std::ptrdiff_t>(index));
    }
    if (watched[1].revents != 0) {
      Pair pair{++accepted_, Descriptor(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)),
                Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))};
      const auto address = loopback(hostPort_);
      if (::connect(pair.host.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        pairs.push_back(std::move(pair));
    }
    if (watched[0].revents == 0) continue;
    Order order{};
    if (::read(orderRead_.get(), &order, sizeof order) != sizeof order) return;
    if (order == Order::cut) {
      for (const auto& pair : pairs) {
        reset(pair.client);
        reset(pair.host);
      }
      pairs.clear();
      listener_.reset();
    } else if (order == Order::mend && !listener_.isOpen()) {
      listen();
    }
    if (::write(doneWrite_.get(), &order, sizeof order) != sizeof order || order == Order::stop) return;
  }
}

}  // namespace quorl::client::test
