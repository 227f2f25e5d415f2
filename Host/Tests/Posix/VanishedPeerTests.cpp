// SPDX-License-Identifier: GPL-3.0-or-later
// A peer whose packets stop without a word: the machine's loopback is taken down in a network namespace of
// the test's own. This takes as long as a host takes to notice.
#include <atomic>
#include <cstring>

#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <Posix/LoopbackPeer.h>
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

TEST(VanishedPeer, isNoticedWithinAMinuteWhetherWeSendOrNot) {
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
