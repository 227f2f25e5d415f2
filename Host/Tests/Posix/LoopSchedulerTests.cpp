// SPDX-License-Identifier: GPL-3.0-or-later
// Queues whose work runs on the thread that watches the sockets.
#include <atomic>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include <Posix/LoopbackPeer.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

class LoopSchedulerTest : public testing::Test {
 protected:
  PoolScheduler pool_;
  std::shared_ptr<SocketNetwork> network_ = std::make_shared<SocketNetwork>(pool_);
  const SerialQueue queue_{*network_->socketScheduler(), "test.loop", QueueRank::connection};
};

TEST_F(LoopSchedulerTest, runsTheWorkOfAllQueuesInOrderOnOneThread) {
  const SerialQueue other(*network_->socketScheduler(), "test.other", QueueRank::connection);
  std::promise<void> done;
  std::vector<std::pair<int, std::thread::id>> runs;  // belongs to the loop's thread
  for (int index = 0; index < 100; ++index)
    (index % 2 == 0 ? queue_ : other).async([&runs, index] {
      runs.emplace_back(index, std::this_thread::get_id());
    });
  queue_.async([&] { other.async([&] { done.set_value(); }); });
  done.get_future().wait();
  ASSERT_EQ(runs.size(), 100U);
  int lastEven = -2;
  int lastOdd = -1;
  for (const auto& [index, thread] : runs) {
    EXPECT_EQ(thread, runs.front().second);
    int& last = index % 2 == 0 ? lastEven : lastOdd;
    EXPECT_EQ(index, last + 2);
    last = index;
  }
  EXPECT_NE(runs.front().second, std::this_thread::get_id());
}

TEST_F(LoopSchedulerTest, firesTimers) {
  std::promise<bool> fired;
  const Timer timer =
      queue_.after(std::chrono::milliseconds(1), [&] { fired.set_value(queue_.isCurrent()); });
  EXPECT_TRUE(fired.get_future().get());
}

TEST_F(LoopSchedulerTest, itsQueuesMayWaitForThoseOfThePool) {
  const SerialQueue store(pool_, "test.store", QueueRank::store);
  std::promise<int> result;
  queue_.async([&] { result.set_value(store.sync([] { return 7; })); });
  EXPECT_EQ(result.get_future().get(), 7);
  EXPECT_EQ(queue_.sync([] { return 8; }), 8);
}

TEST_F(LoopSchedulerTest, servesListenersAndConnections) {
  const std::uint16_t port = freePort();
  std::vector<std::unique_ptr<NetworkConnection>> accepted;  // belongs to the queue
  Network::ListenerHandlers handlers;
  handlers.connection = [&](std::unique_ptr<NetworkConnection> connection) {
    queue_.assertCurrent();
    NetworkConnection& end = *connection;
    accepted.push_back(std::move(connection));
    end.start(queue_, nullptr);
    end.receive(100, [&](ByteView bytes, bool, std::optional<PortError>) {
      end.sendBytes(shareBytes({bytes.begin(), bytes.end()}), {});
    });
  };
  auto listener = network_->listen(port, queue_, std::move(handlers));
  ASSERT_TRUE(listener);
  for (int round = 0; round < 20; ++round) {
    LoopbackPeer peer(port);
    ASSERT_TRUE(peer.write(pattern(50)));
    ASSERT_EQ(peer.read(50), pattern(50));
  }
  queue_.sync([&] {
    (*listener)->cancel();
    accepted.clear();
  });
}

TEST_F(LoopSchedulerTest, dropsPendingWorkWhenTheNetworkStops) {
  const auto held = std::make_shared<int>(1);
  std::promise<void> begun;
  std::promise<void> stopping;
  queue_.async([&] {
    begun.set_value();
    stopping.get_future().wait();
  });
  begun.get_future().wait();
  const SerialQueue other(*network_->socketScheduler(), "test.other", QueueRank::connection);
  const Timer timer = other.after(std::chrono::hours(1), [held] {});
  std::atomic<int> runs = 0;
  std::thread stopper([&] { network_->stop(); });
  stopping.set_value();
  stopper.join();
  other.async([&runs, held] { ++runs; });
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(held.use_count(), 2) << "the timer's";
}

}  // namespace
}  // namespace quorl::test
