// SPDX-License-Identifier: GPL-3.0-or-later
#include <atomic>
#include <filesystem>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/times.h>

#include <Posix/LoopbackPeer.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

struct Watched {
  std::mutex mutex;
  std::vector<NetworkListener::State> states;

  Network::ListenerHandlers handlers() {
    Network::ListenerHandlers result;
    result.state = [this](const NetworkListener::State& state) {
      std::lock_guard lock(mutex);
      states.push_back(state);
    };
    return result;
  }
  std::size_t count() {
    std::lock_guard lock(mutex);
    return states.size();
  }
};

class SocketListenerTest : public ::testing::Test {
 protected:
  ~SocketListenerTest() override {
    queue.sync([] {});
  }

  PoolScheduler scheduler;
  SerialQueue queue{scheduler, "test.listener", QueueRank::adapter};
  SocketNetwork network;
  Watched watched;
};

TEST_F(SocketListenerTest, reportsReadyWithItsPort) {
  const std::uint16_t port = freePort();
  const auto listener = network.listen(port, queue, watched.handlers());
  ASSERT_TRUE(listener);
  ASSERT_TRUE(eventually([&] { return watched.count() == 1; }));
  ASSERT_TRUE(std::holds_alternative<NetworkListener::Ready>(watched.states[0]));
  EXPECT_EQ(std::get<NetworkListener::Ready>(watched.states[0]).port, port);
}

TEST_F(SocketListenerTest, reportsABusyPortThroughTheStateHandler) {
  const ListeningHost other;
  const auto listener = network.listen(other.port(), queue, watched.handlers());
  ASSERT_TRUE(listener) << "a busy port is no failure of creation";
  ASSERT_TRUE(eventually([&] { return watched.count() == 1; }));
  ASSERT_TRUE(std::holds_alternative<NetworkListener::Failed>(watched.states[0]));
  EXPECT_EQ(std::get<NetworkListener::Failed>(watched.states[0]).error.status, EADDRINUSE);
}

TEST_F(SocketListenerTest, leavesThePortToTheNextOneAtOnce) {
  const std::uint16_t port = freePort();
  for (int round = 1; round <= 20; ++round) {
    auto listener = network.listen(port, queue, watched.handlers());
    ASSERT_TRUE(listener);
    LoopbackPeer peer(port);  // leaves connections in TIME_WAIT behind
    EXPECT_TRUE(peer.isConnected());
    (*listener)->cancel();
  }
  queue.sync([] {});
  for (const auto& state : watched.states) EXPECT_TRUE(std::holds_alternative<NetworkListener::Ready>(state));
}

TEST_F(SocketListenerTest, deliversNothingOnceCancelled) {
  const std::uint16_t port = freePort();
  std::atomic<int> handed = 0;
  Network::ListenerHandlers handlers;
  handlers.connection = [&](std::unique_ptr<NetworkConnection>) { ++handed; };
  auto listener = network.listen(port, queue, std::move(handlers));
  ASSERT_TRUE(listener);
  std::optional<LoopbackPeer> peer;
  queue.sync([&] {
    peer.emplace(port);
    // The connection is accepted, but its delivery waits for this work to end.
    (*listener)->cancel();
  });
  EXPECT_TRUE(peer->readAll().empty());
  queue.sync([] {});
  EXPECT_EQ(handed, 0);
}

TEST_F(SocketListenerTest, everyDescriptorIsClosedInAChild) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  const auto sender = host.network().openDatagramSender({"127.0.0.1", 9}, std::nullopt, host.queue());
  int sockets = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const int descriptor = std::stoi(entry.path().filename());
    const auto target = std::filesystem::read_symlink(entry.path()).string();
    if (!target.starts_with("socket:") && !target.starts_with("anon_inode:")) continue;
    ++sockets;
    EXPECT_TRUE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) << target;
  }
  EXPECT_GE(sockets, 4);
}

TEST_F(SocketListenerTest, aShortageOfDescriptorsPausesAcceptingAndDoesNotSpin) {
  ListeningHost host;
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  LoopbackPeer first(host.port());
  const auto accepted = host.accept();
  ASSERT_TRUE(accepted);
  // Sockets first: the shortage is then of descriptors for accepted connections alone.
  std::vector<Descriptor> peers;
  for (int index = 0; index < 10; ++index)
    peers.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  rlimit tight = before;
  const int next = ::fcntl(0, F_DUPFD_CLOEXEC, 0);
  ASSERT_GE(next, 0);
  ::close(next);
  tight.rlim_cur = static_cast<rlim_t>(next);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(host.port());
  for (const auto& peer : peers)
    ASSERT_EQ(::connect(peer.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  tms used{};
  ::times(&used);
  const auto ticks = used.tms_utime + used.tms_stime;
  const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
  eventually([&] { return std::chrono::steady_clock::now() >= until; });
  ::times(&used);
  EXPECT_LT(used.tms_utime + used.tms_stime - ticks, ::sysconf(_SC_CLK_TCK) / 4)
      << "half a second of waiting";
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  for (std::size_t index = 0; index < peers.size(); ++index) EXPECT_TRUE(host.accept());
}

TEST_F(SocketListenerTest, acceptsABurstOfPeers) {
  ListeningHost host;
  std::vector<std::unique_ptr<LoopbackPeer>> peers;
  std::vector<std::unique_ptr<NetworkConnection>> accepted;
  for (int index = 0; index < 400; ++index) peers.push_back(std::make_unique<LoopbackPeer>(host.port()));
  for (const auto& peer : peers) {
    ASSERT_TRUE(peer->isConnected());
    accepted.push_back(host.accept());
    ASSERT_TRUE(accepted.back());
  }
}

}  // namespace
}  // namespace quorl::test
