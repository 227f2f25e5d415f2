// SPDX-License-Identifier: GPL-3.0-or-later
// Connections that are joined: each passes its input to the other.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <Posix/LoopbackPeer.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

// Two peers, and the host's ends of their connections.
class JoinedPeers {
 public:
  explicit JoinedPeers(ListeningHost& host)
      : host_(host), first(host.port()), firstEnd(accept()), second(host.port()), secondEnd(accept()) {}

  bool join(NetworkConnection::Filter filter = nullptr) {
    return firstEnd->join(*secondEnd, std::move(filter), [this, &queue = host_.queue()] {
      queue.assertCurrent();
      ++ends;
    });
  }

 private:
  ListeningHost& host_;
  std::unique_ptr<NetworkConnection> accept() {
    auto connection = host_.accept();
    if (connection) connection->start(host_.queue(), nullptr);
    return connection;
  }

 public:
  std::atomic<int> ends = 0;
  LoopbackPeer first;
  std::unique_ptr<NetworkConnection> firstEnd;
  LoopbackPeer second;
  std::unique_ptr<NetworkConnection> secondEnd;
};

class JoinedConnectionTest : public testing::Test {
 protected:
  ListeningHost host_;
  JoinedPeers pair_{host_};
};

// Writes until the socket has taken nothing for a while, and returns the number of bytes.
std::size_t writeUntilFull(LoopbackPeer& peer, std::size_t limit) {
  const Bytes chunk(65'536, 'x');
  std::size_t sum = 0;
  pollfd entry{peer.descriptor(), POLLOUT, 0};
  while (sum < limit && ::poll(&entry, 1, 500) == 1) {
    const ssize_t count = ::send(peer.descriptor(), chunk.data(), chunk.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count > 0) sum += static_cast<std::size_t>(count);
  }
  return sum;
}

TEST_F(JoinedConnectionTest, passBytesBothWaysCompleteAndInOrder) {
  ASSERT_TRUE(pair_.join());
  const Bytes down = pattern(12'000'000, 1);
  const Bytes up = pattern(12'000'000, 2);
  std::thread downWriter([&] { pair_.second.write(down); });
  std::thread upWriter([&] { pair_.first.write(up); });
  Bytes gotUp;
  std::thread upReader([&] { gotUp = pair_.second.read(up.size()); });
  EXPECT_EQ(pair_.first.read(down.size()), down);
  upReader.join();
  EXPECT_EQ(gotUp, up);
  downWriter.join();
  upWriter.join();
}

TEST_F(JoinedConnectionTest, passWhatArrivedBeforeTheJoin) {
  ASSERT_TRUE(pair_.first.write(pattern(1000)));
  ASSERT_TRUE(pair_.second.write(pattern(2000)));
  ASSERT_TRUE(pair_.join());
  EXPECT_EQ(pair_.second.read(1000), pattern(1000));
  EXPECT_EQ(pair_.first.read(2000), pattern(2000));
}

TEST_F(JoinedConnectionTest, oneThatHasReadBeforePassesTheRest) {
  std::atomic<int> reads = 0;
  pair_.firstEnd->receive(10, [&](ByteView, bool, std::optional<PortError>) { ++reads; });
  ASSERT_TRUE(pair_.first.write(pattern(100)));
  ASSERT_TRUE(eventually([&] { return reads == 1; }));
  ASSERT_TRUE(host_.queue().sync([&] { return pair_.join(); }));
  const Bytes all = pattern(100);
  EXPECT_EQ(pair_.second.read(90), Bytes(all.begin() + 10, all.end()));
}

TEST_F(JoinedConnectionTest, aPeerThatDoesNotReadHoldsTheOtherBack) {
  ASSERT_TRUE(pair_.join());
  constexpr std::size_t limit = 256'000'000;
  const std::size_t taken = writeUntilFull(pair_.second, limit);
  EXPECT_LT(taken, limit);
  EXPECT_EQ(pair_.first.read(taken).size(), taken);
  ASSERT_TRUE(pair_.first.write(pattern(10)));
  EXPECT_EQ(pair_.second.read(10), pattern(10));
}

TEST_F(JoinedConnectionTest, anEndReachesTheOtherPeerAfterAllBytes) {
  ASSERT_TRUE(pair_.join());
  const Bytes last = pattern(5'000'000);
  std::thread writer([&] {
    pair_.second.write(last);
    pair_.second.close();
  });
  EXPECT_EQ(pair_.first.readAll(), last);
  EXPECT_EQ(pair_.first.end(), LoopbackPeer::End::finished);
  writer.join();
  EXPECT_TRUE(eventually([&] { return pair_.ends == 1; }));
}

TEST_F(JoinedConnectionTest, anEndWithTheLastBytesIsNoticed) {
  for (int round = 0; round < 50; ++round) {
    JoinedPeers pair(host_);
    ASSERT_TRUE(pair.join());
    ASSERT_TRUE(pair.second.write(pattern(100)));
    pair.second.close();
    ASSERT_EQ(pair.first.readAll(), pattern(100)) << round;
    ASSERT_TRUE(eventually([&] { return pair.ends == 1; })) << round;
  }
}

TEST_F(JoinedConnectionTest, aHalfCloseOfOnePeerEndsBoth) {
  ASSERT_TRUE(pair_.join());
  ASSERT_TRUE(pair_.first.write(pattern(100)));
  pair_.first.finishWriting();
  EXPECT_EQ(pair_.second.readAll(), pattern(100));
  EXPECT_TRUE(pair_.first.readAll().empty());
  EXPECT_TRUE(eventually([&] { return pair_.ends == 1; }));
}

TEST_F(JoinedConnectionTest, aResetOfOnePeerEndsBoth) {
  ASSERT_TRUE(pair_.join());
  pair_.second.reset();
  EXPECT_TRUE(pair_.first.readAll().empty());
  EXPECT_TRUE(eventually([&] { return pair_.ends == 1; }));
}

TEST_F(JoinedConnectionTest, unreadInputDoesNotDestroyTheLastBytes) {
  for (int round = 0; round < 50; ++round) {
    JoinedPeers pair(host_);
    ASSERT_TRUE(pair.join());
    ASSERT_TRUE(pair.second.write(pattern(200'000)));
    pair.second.close();
    pair.first.write(pattern(100'000));
    ASSERT_EQ(pair.first.readAll(), pattern(200'000)) << round;
  }
}

TEST_F(JoinedConnectionTest, aPeerThatStaysOpenAfterTheEndIsClosedAfterAWhile) {
  ASSERT_TRUE(pair_.join());
  pair_.second.close();
  EXPECT_TRUE(pair_.first.readAll().empty());
  // The host's side is half closed now. Once it is closed, a write causes a reset.
  EXPECT_TRUE(eventually([&] { return !pair_.first.write(pattern(1)); }));
}

TEST_F(JoinedConnectionTest, aPeerThatKeepsSendingAfterTheEndIsDisconnected) {
  ASSERT_TRUE(pair_.join());
  pair_.second.close();
  const Bytes chunk = pattern(1'048'576);
  EXPECT_TRUE(eventually([&] { return !pair_.first.write(chunk); }));
}

TEST_F(JoinedConnectionTest, theFilterExaminesTheInputOfTheSecondUntilItReturnsBytes) {
  std::atomic<int> calls = 0;
  ASSERT_TRUE(pair_.join([&, seen = Bytes()](ByteView bytes) mutable -> std::optional<Bytes> {
    ++calls;
    seen.insert(seen.end(), bytes.begin(), bytes.end());
    if (seen.size() < 10) return std::nullopt;
    Bytes passed = bytesOf("inserted ");
    passed.insert(passed.end(), seen.begin(), seen.end());
    return passed;
  }));
  ASSERT_TRUE(pair_.first.write(viewOf("untouched")));
  EXPECT_EQ(textOf(pair_.second.read(9)), "untouched");
  ASSERT_TRUE(pair_.second.write(viewOf("01234")));
  ASSERT_TRUE(eventually([&] { return calls == 1; }));
  ASSERT_TRUE(pair_.second.write(viewOf("56789")));
  EXPECT_EQ(textOf(pair_.first.read(19)), "inserted 0123456789");
  ASSERT_TRUE(pair_.second.write(viewOf("later")));
  EXPECT_EQ(textOf(pair_.first.read(5)), "later");
  EXPECT_EQ(calls, 2);
}

TEST_F(JoinedConnectionTest, whatTheFilterHoldsIsLostAtTheEnd) {
  ASSERT_TRUE(pair_.join([](ByteView) { return std::nullopt; }));
  ASSERT_TRUE(pair_.second.write(pattern(100)));
  pair_.second.close();
  EXPECT_TRUE(pair_.first.readAll().empty());
}

TEST_F(JoinedConnectionTest, aCancelOfEitherEndsBothWithoutTheCallback) {
  for (const bool cancelsFirst : {true, false}) {
    JoinedPeers pair(host_);
    ASSERT_TRUE(pair.join());
    (cancelsFirst ? pair.firstEnd : pair.secondEnd)->cancel();
    EXPECT_TRUE(pair.first.readAll().empty());
    EXPECT_TRUE(pair.second.readAll().empty());
    host_.queue().sync([] {});
    EXPECT_EQ(pair.ends, 0);
  }
}

TEST_F(JoinedConnectionTest, destructionEndsBoth) {
  ASSERT_TRUE(pair_.join());
  pair_.firstEnd.reset();
  pair_.secondEnd.reset();
  EXPECT_TRUE(pair_.first.readAll().empty());
  EXPECT_TRUE(pair_.second.readAll().empty());
}

TEST_F(JoinedConnectionTest, needNoReceiveOutstandingAndOpenConnections) {
  pair_.firstEnd->receive(10, [](ByteView, bool, std::optional<PortError>) {});
  EXPECT_FALSE(pair_.join());
  JoinedPeers other(host_);
  EXPECT_FALSE(other.firstEnd->join(*other.firstEnd, nullptr, nullptr));
  other.secondEnd->cancel();
  EXPECT_FALSE(other.join());
  ASSERT_TRUE(other.first.write(pattern(5)));
  std::atomic<std::size_t> received = 0;
  other.firstEnd->receive(10,
                          [&](ByteView bytes, bool, std::optional<PortError>) { received = bytes.size(); });
  EXPECT_TRUE(eventually([&] { return received == 5; }));
  host_.queue().sync([&] { other.firstEnd->cancel(); });
}

TEST_F(JoinedConnectionTest, manyPairsAreServedAtOnce) {
  constexpr std::size_t count = 200;
  std::vector<std::unique_ptr<JoinedPeers>> pairs;
  for (std::size_t index = 0; index < count; ++index) {
    pairs.push_back(std::make_unique<JoinedPeers>(host_));
    ASSERT_TRUE(pairs.back()->join());
  }
  for (int round = 0; round < 5; ++round)
    for (std::size_t index = 0; index < count; ++index) {
      const Bytes bytes = pattern(1000, static_cast<std::uint32_t>(index));
      ASSERT_TRUE(pairs[index]->first.write(bytes));
      ASSERT_EQ(pairs[index]->second.read(bytes.size()), bytes);
    }
}

TEST(JoinedConnection, theEndOfTheNetworkClosesThem) {
  std::optional<LoopbackPeer> first;
  {
    ListeningHost host;
    JoinedPeers pair(host);
    ASSERT_TRUE(pair.join());
    first.emplace(std::move(pair.first));
  }
  EXPECT_TRUE(first->readAll().empty());
}

}  // namespace
}  // namespace quorl::test
