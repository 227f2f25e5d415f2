// SPDX-License-Identifier: GPL-3.0-or-later
#include <atomic>

#include <gtest/gtest.h>

#include <Posix/LoopbackPeer.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

// Keeps a receive pending and collects the input.
class Collector {
 public:
  explicit Collector(NetworkConnection& connection, std::size_t maximum = 524'288)
      : connection_(connection), maximum_(maximum) {}

  void arm() {
    connection_.receive(maximum_, [this](ByteView bytes, bool isComplete, std::optional<PortError> error) {
      {
        std::lock_guard lock(mutex_);
        largest_ = std::max(largest_, bytes.size());
        received_.insert(received_.end(), bytes.begin(), bytes.end());
        ended_ = isComplete;
        failed_ = error.has_value();
        if (isComplete || error) return;
      }
      arm();
    });
  }
  Bytes received() {
    std::lock_guard lock(mutex_);
    return received_;
  }
  std::size_t size() {
    std::lock_guard lock(mutex_);
    return received_.size();
  }
  std::size_t largest() {
    std::lock_guard lock(mutex_);
    return largest_;
  }
  bool ended() {
    std::lock_guard lock(mutex_);
    return ended_;
  }

 private:
  NetworkConnection& connection_;
  const std::size_t maximum_;
  std::mutex mutex_;
  Bytes received_;
  std::size_t largest_ = 0;
  bool ended_ = false;
  bool failed_ = false;
};

TEST(SocketConnection, deliversInputCompleteAndInOrder) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  ASSERT_TRUE(connection);
  Collector collector(*connection);
  connection->start(host.queue(), {});
  collector.arm();
  const Bytes sent = pattern(8'000'000);
  ASSERT_TRUE(peer.write(sent));
  EXPECT_TRUE(eventually([&] { return collector.size() == sent.size(); }));
  EXPECT_EQ(collector.received(), sent);
  connection->cancel();
  host.queue().sync([] {});
}

TEST(SocketConnection, deliversNoMoreThanTheReceiveRequested) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  Collector collector(*connection, 1000);
  connection->start(host.queue(), {});
  ASSERT_TRUE(peer.write(pattern(100'000)));
  collector.arm();
  EXPECT_TRUE(eventually([&] { return collector.size() == 100'000; }));
  EXPECT_LE(collector.largest(), 1000U);
  connection->cancel();
  host.queue().sync([] {});
}

TEST(SocketConnection, reportsReadyOnItsQueueBeforeAnyBytes) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  ASSERT_TRUE(peer.write(pattern(10)));
  const auto connection = host.accept();
  std::vector<std::string> events;  // belongs to the queue
  connection->start(host.queue(), [&](NetworkConnection::State state, const PortError&) {
    host.queue().assertCurrent();
    events.push_back(state == NetworkConnection::State::ready ? "ready" : "other");
  });
  connection->receive(100, [&](ByteView bytes, bool, std::optional<PortError>) {
    host.queue().assertCurrent();
    events.push_back(fmt::format("bytes {}", bytes.size()));
  });
  EXPECT_TRUE(eventually([&] { return host.queue().sync([&] { return events.size(); }) == 2; }));
  EXPECT_EQ(events, (std::vector<std::string>{"ready", "bytes 10"}));
}

TEST(SocketConnection, reportsAnOrderlyEndOnceWithoutBytesOrError) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  Collector collector(*connection);
  connection->start(host.queue(), {});
  collector.arm();
  ASSERT_TRUE(peer.write(pattern(5)));
  peer.finishWriting();
  EXPECT_TRUE(eventually([&] { return collector.ended(); }));
  EXPECT_EQ(collector.received(), pattern(5));
}

TEST(SocketConnection, stillSendsAfterThePeerHasFinishedSending) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  Collector collector(*connection);
  connection->start(host.queue(), {});
  collector.arm();
  peer.finishWriting();
  ASSERT_TRUE(eventually([&] { return collector.ended(); }));
  const auto frame = frameOf(pattern(1000));
  connection->send(frame, {});
  EXPECT_EQ(peer.read(frame.size()), frame.encoded());
}

TEST(SocketConnection, writesPrefixAndBodyOfManyFramesInTheOrderOfTheCalls) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  connection->start(host.queue(), {});
  Bytes expected;
  std::atomic<int> completions = 0;
  constexpr int count = 3000;
  for (int index = 0; index < count; ++index) {
    // Empty bodies, small ones, and some larger than the socket's buffer.
    const std::size_t size = index % 500 == 7 ? 700'000 : static_cast<std::size_t>(index % 40);
    const auto frame = frameOf(pattern(size, static_cast<std::uint32_t>(index)));
    const Bytes bytes = frame.encoded();
    expected.insert(expected.end(), bytes.begin(), bytes.end());
    connection->send(frame, [&completions, index](std::optional<PortError> error) {
      EXPECT_FALSE(error);
      EXPECT_EQ(completions++, index);
    });
  }
  EXPECT_EQ(peer.read(expected.size()), expected);
  EXPECT_TRUE(eventually([&] { return completions == count; }));
}

TEST(SocketConnection, sendsFramesGivenBeforeItsStart) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  const auto frame = frameOf(pattern(20));
  connection->send(frame, {});
  connection->start(host.queue(), {});
  EXPECT_EQ(peer.read(frame.size()), frame.encoded());
}

TEST(SocketConnection, holdsCompletionsBackWhileThePeerDoesNotRead) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  connection->start(host.queue(), {});
  std::atomic<int> completed = 0;
  constexpr int count = 64;
  const auto frame = frameOf(pattern(1'048'576));
  for (int index = 0; index < count; ++index)
    connection->send(frame, [&](std::optional<PortError>) { ++completed; });
  // More than any socket buffer of this system holds: without a reader, a part has to wait.
  host.queue().sync([] {});
  EXPECT_LT(completed, count);
  const Bytes all = peer.read(frame.size() * count);
  EXPECT_EQ(all.size(), frame.size() * count);
  EXPECT_TRUE(eventually([&] { return completed == count; }));
}

TEST(SocketConnection, takesSendsFromSeveralThreadsWithoutTearingAFrame) {
  ListeningHost host;
  LoopbackPeer peer(host.port());
  const auto connection = host.accept();
  connection->start(host.queue(), {});
  constexpr std::size_t size = 5000;
  constexpr int perThread = 200;
  std::vector<std::thread> threads;
  for (std::uint8_t id = 1; id <= 4; ++id)
    threads.emplace_back([&, id] {
      for (int index = 0; index < perThread; ++index) connection->send(frameOf(Bytes(size, id)), {});
    });
  const std::size_t frameSize = frameOf(Bytes(size)).size();
  const Bytes all = peer.read(frameSize * perThread * 4);
  for (auto& thread : threads) thread.join();
  ASSERT_EQ(all.size(), frameSize * perThread * 4);
  std::array<int, 5> seen{};
  for (std::size_t at = 0; at < all.size(); at += frameSize) {
    const ByteView frame = ByteView(all).subspan(at, frameSize);
    const std::uint8_t id = frame.back();
    ASSERT_TRUE(std::all_of(frame.end() - size, frame.end(), [&](std::uint8_t byte) { return byte == id; }));
    ++seen.at(id);
  }
  EXPECT_EQ(seen, (std::array<int, 5>{0, perThread, perThread, perThread, perThread}));
}

TEST(SocketConnection, namesAPeerOfEitherFamilyAsPrinted) {
  ListeningHost host;
  LoopbackPeer four(host.port(), "127.0.0.1");
  const auto first = host.accept();
  ASSERT_TRUE(first && first->remoteEndpoint());
  EXPECT_EQ(first->remoteEndpoint()->host, "127.0.0.1");
  EXPECT_NE(first->remoteEndpoint()->port, 0);
  LoopbackPeer six(host.port(), "::1");
  if (!six.isConnected()) GTEST_SKIP() << "no IPv6 loopback here";
  const auto second = host.accept();
  ASSERT_TRUE(second && second->remoteEndpoint());
  EXPECT_EQ(second->remoteEndpoint()->host, "::1");
}

}  // namespace
}  // namespace quorl::test
