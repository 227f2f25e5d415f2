// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>

#include <QuorlKit/Foundation/Check.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl::test {

/// A listening TCP socket on a port of the system's choice.
class TestSocket {
 public:
  enum class Version6 : std::uint8_t { alsoVersion4, only };

  /// An address of either family, as inet_pton(3) reads it.
  explicit TestSocket(const std::string& address, Version6 version6 = Version6::alsoVersion4) {
    sockaddr_in version4Address{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {}, .sin_zero = {}};
    sockaddr_in6 version6Address{};
    version6Address.sin6_family = AF_INET6;
    if (inet_pton(AF_INET, address.c_str(), &version4Address.sin_addr) == 1) {
      socket_ = Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
      begin(version4Address);
      port_ = ntohs(version4Address.sin_port);
    } else {
      QUORL_CHECK(inet_pton(AF_INET6, address.c_str(), &version6Address.sin6_addr) == 1,
                  "this is an address");
      socket_ = Descriptor(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
      const int only = version6 == Version6::only ? 1 : 0;
      setsockopt(socket_.get(), IPPROTO_IPV6, IPV6_V6ONLY, &only, sizeof only);
      begin(version6Address);
      port_ = ntohs(version6Address.sin6_port);
    }
  }

  std::uint16_t port() const { return port_; }
  int descriptor() const { return socket_.get(); }
  void close() { socket_.reset(); }

 private:
  template <class Address>
  void begin(Address& address) {
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    QUORL_CHECK(bind(socket_.get(), generic, size) == 0 && listen(socket_.get(), 8) == 0 &&
                    getsockname(socket_.get(), generic, &size) == 0,
                "a test can listen");
  }

  Descriptor socket_;
  std::uint16_t port_ = 0;
};

}  // namespace quorl::test
