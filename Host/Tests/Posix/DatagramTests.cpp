// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <Posix/LoopbackPeer.h>
#include <QuorlHostPosix/SocketAddress.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

class Receiver {
 public:
  Receiver() : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    SocketAddress bound;
    bound.size = sizeof bound.storage;
    ::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&bound.storage), &bound.size);
    port_ = hostPortOf(bound)->port;
  }
  std::uint16_t port() const { return port_; }
  std::optional<Bytes> next(std::chrono::milliseconds limit = patience) {
    pollfd entry{socket_.get(), POLLIN, 0};
    if (::poll(&entry, 1, static_cast<int>(limit.count())) != 1) return std::nullopt;
    Bytes bytes(65'536);
    SocketAddress from;
    from.size = sizeof from.storage;
    const ssize_t count = ::recvfrom(socket_.get(), bytes.data(), bytes.size(), 0,
                                     reinterpret_cast<sockaddr*>(&from.storage), &from.size);
    source_ = hostPortOf(from);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return bytes;
  }
  /// The sender of the last datagram.
  const std::optional<HostPort>& source() const { return source_; }

 private:
  Descriptor socket_;
  std::uint16_t port_ = 0;
  std::optional<HostPort> source_;
};

class DatagramTest : public ::testing::Test {
 protected:
  PoolScheduler scheduler;
  SerialQueue queue{scheduler, "test.datagrams", QueueRank::adapter};
  SocketNetwork network;
};

TEST_F(DatagramTest, arriveWholeAndOnLoopbackInOrder) {
  Receiver receiver;
  const auto sender = network.openDatagramSender({"127.0.0.1", receiver.port()}, std::nullopt, queue);
  for (std::uint32_t index = 0; index < 50; ++index) sender->send(pattern(1200 + index, index));
  for (std::uint32_t index = 0; index < 50; ++index) EXPECT_EQ(receiver.next(), pattern(1200 + index, index));
}

TEST_F(DatagramTest, areLostWithoutAReceiverAndArriveOnceThereIsOne) {
  const std::uint16_t port = freePort();
  const auto sender = network.openDatagramSender({"127.0.0.1", port}, std::nullopt, queue);
  for (int index = 0; index < 10; ++index) sender->send(pattern(100));
  Descriptor late(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto address = socketAddressFor({"127.0.0.1", port}, NameLookup::numericOnly);
  ASSERT_EQ(::bind(late.get(), address->get(), address->size), 0);
  EXPECT_TRUE(eventually([&] {
    sender->send(pattern(7));
    Bytes bytes(100);
    return ::recv(late.get(), bytes.data(), bytes.size(), MSG_DONTWAIT) == 7;
  }));
}

TEST_F(DatagramTest, comeFromTheAddressThatTheyAreSentFrom) {
  Receiver receiver;
  const auto sender = network.openDatagramSender({"127.0.0.1", receiver.port()}, "127.0.0.2", queue);
  sender->send(pattern(10));
  ASSERT_TRUE(receiver.next());
  ASSERT_TRUE(receiver.source());
  EXPECT_EQ(receiver.source()->host, "127.0.0.2");
}

TEST_F(DatagramTest, findAPeerByName) {
  Receiver receiver;
  const auto sender = network.openDatagramSender({"localhost", receiver.port()}, std::nullopt, queue);
  // The name may resolve to the IPv6 loopback first. Then nothing arrives, which is no error.
  const auto address = socketAddressFor({"localhost", receiver.port()}, NameLookup::resolve);
  if (!address || address->storage.ss_family != AF_INET) GTEST_SKIP() << "localhost is not 127.0.0.1 here";
  EXPECT_TRUE(eventually([&] {
    sender->send(pattern(3));
    return receiver.next(std::chrono::milliseconds(1)).has_value();
  }));
}

TEST(SocketAddress, printsAMappedAddressAsIPv4AndKeepsAZone) {
  EXPECT_EQ(hostPortOf(*socketAddressFor({"::ffff:192.0.2.7", 47900}, NameLookup::numericOnly)),
            (HostPort{"192.0.2.7", 47900}));
  EXPECT_EQ(hostPortOf(*socketAddressFor({"2001:db8::1", 1}, NameLookup::numericOnly)),
            (HostPort{"2001:db8::1", 1}));
  const auto zoned = socketAddressFor({"fe80::1%lo", 9}, NameLookup::numericOnly);
  ASSERT_TRUE(zoned);
  EXPECT_EQ(hostPortOf(*zoned), (HostPort{"fe80::1%lo", 9}));
  EXPECT_FALSE(socketAddressFor({"no such host.", 1}, NameLookup::numericOnly));
}

}  // namespace
}  // namespace quorl::test
