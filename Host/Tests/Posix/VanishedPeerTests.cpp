// SPDX-License-Identifier: GPL-3.0-or-later
// A peer that vanishes: the loopback is taken down in a network
// namespace of the test. The test takes as long as the host takes to detect this.
#include <atomic>
#include <cstring>

#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <Posix/LoopbackPeer.h>
#include <QuorlHostPosix/SocketOptions.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

bool setLoopback(bool up) {
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = static_cast<short>(up ? IFF_UP : 0);
  return ::ioctl(socket.get(), SIOCSIFFLAGS, &request) == 0;
}

// The host's end of the peer's connection; both are in this process.
int hostsEndOf(const LoopbackPeer& peer) {
  sockaddr_storage own{};
  socklen_t size = sizeof own;
  ::getsockname(peer.descriptor(), reinterpret_cast<sockaddr*>(&own), &size);
  const std::uint16_t port = ntohs(reinterpret_cast<const sockaddr_in&>(own).sin_port);
  for (int descriptor = 0; descriptor < 1024; ++descriptor) {
    sockaddr_storage other{};
    size = sizeof other;
    if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&other), &size) != 0) continue;
    // The host listens on both families.
    if (other.ss_family == AF_INET6 && ntohs(reinterpret_cast<const sockaddr_in6&>(other).sin6_port) == port)
      return descriptor;
  }
  return -1;
}

unsigned userTimeoutOf(int descriptor) {
  unsigned timeout = 0;
  socklen_t size = sizeof timeout;
  EXPECT_EQ(::getsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &timeout, &size), 0);
  return timeout;
}

TEST(UserTimeout, isSetWhileAnswersAreDueAndOffWhileAPeerKeepsItsWindowClosed) {
  EXPECT_EQ(userTimeoutFor({}), 45'000U) << "probes of an idle connection";
  EXPECT_EQ(userTimeoutFor({.bytes = 100, .inFlight = 1}), 45'000U);
  EXPECT_EQ(userTimeoutFor({.bytes = 100, .inFlight = 0, .silentProbes = 0}), 0U);
  EXPECT_EQ(userTimeoutFor({.bytes = 100, .inFlight = 0, .silentProbes = 3}), 0U);
  EXPECT_EQ(userTimeoutFor({.bytes = 100, .inFlight = 0, .silentProbes = 4}), 45'000U);
}

TEST(UserTimeout, isLiftedFromAPeerThatDoesNotReadUntilItReadsAgain) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  ASSERT_TRUE(connection);
  connection->start(host.queue(), [](NetworkConnection::State, const PortError&) {});
  const int end = hostsEndOf(peer);
  ASSERT_GE(end, 0);
  EXPECT_EQ(userTimeoutOf(end), 45'000U);
  std::atomic<bool> isSent = false;
  const Bytes sent = pattern(16'777'216);
  connection->send(frameOf(sent), [&](const std::optional<PortError>&) { isSent = true; });
  EXPECT_TRUE(eventually([&] { return userTimeoutOf(end) == 0; }, std::chrono::seconds(30)));
  EXPECT_FALSE(isSent);
  EXPECT_EQ(peer.read(frameHeaderSize + sent.size()).size(), frameHeaderSize + sent.size());
  EXPECT_TRUE(eventually([&] { return userTimeoutOf(end) == 45'000; }, std::chrono::seconds(30)));
  EXPECT_TRUE(eventually([&] { return isSent.load(); }));
  connection->cancel();
  host.queue().sync([] {});
}

TEST(VanishedPeer, isDetectedWithinAMinuteWithAndWithoutTraffic) {
  if (::unshare(CLONE_NEWNET) != 0 || !setLoopback(true))
    GTEST_SKIP() << "needs a network namespace of its own";
  ListeningHost host;
  LoopbackPeer silent(host.port());
  const auto idle = host.accept();
  LoopbackPeer sink(host.port());
  const auto sending = host.accept();
  ASSERT_TRUE(idle && sending);
  std::atomic<int> failures = 0;
  const auto count = [&](NetworkConnection::State state, const PortError&) {
    failures += state == NetworkConnection::State::failed;
  };
  idle->start(host.queue(), count);
  sending->start(host.queue(), count);
  idle->receive(100, [](ByteView, bool, std::optional<PortError>) {});
  sending->receive(100, [](ByteView, bool, std::optional<PortError>) {});
  host.queue().sync([] {});
  ASSERT_TRUE(setLoopback(false));
  sending->send(frameOf(pattern(100)), {});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(eventually([&] { return failures == 2; }, std::chrono::seconds(60)));
  const auto took = std::chrono::steady_clock::now() - start;
  RecordProperty("milliseconds", static_cast<int>(took / std::chrono::milliseconds(1)));
  EXPECT_GT(took, std::chrono::seconds(20)) << "a short break of the network must not end a session";
  idle->cancel();
  sending->cancel();
  host.queue().sync([] {});
}

}  // namespace
}  // namespace quorl::test
