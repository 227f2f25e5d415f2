// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <latch>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/Eventually.h>

namespace quorl {
namespace {

using namespace std::chrono_literals;
using test::eventually;

TEST(SimulatedScheduler, letsADayPassInNoTime) {
  SimulatedScheduler scheduler;
  SerialQueue queue(scheduler, "a", QueueRank::service);
  int ticks = 0;
  Timer timer = queue.every(1s, 1s, [&] { ++ticks; });
  scheduler.advance(24h);
  EXPECT_EQ(ticks, 24 * 3600);
}

TEST(SimulatedScheduler, theWallClockFollowsVirtualTime) {
  SimulatedScheduler scheduler(1, Date{1000});
  scheduler.advance(1500ms);
  EXPECT_DOUBLE_EQ(scheduler.date().secondsSince1970, 1001.5);
}

std::string interleaving(std::uint64_t seed) {
  SimulatedScheduler scheduler(seed);
  std::vector<SerialQueue> queues;
  std::string order;
  for (char name = 'a'; name < 'f'; ++name) {
    queues.emplace_back(scheduler, std::string(1, name), QueueRank::service);
    queues.back().async([&order, name] { order += name; });
  }
  scheduler.runReady();
  return order;
}

TEST(SimulatedScheduler, aSeedIsOneInterleavingAndSeedsDiffer) {
  std::set<std::string> orders;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    EXPECT_EQ(interleaving(seed), interleaving(seed));
    orders.insert(interleaving(seed));
  }
  EXPECT_GT(orders.size(), 20U);
}

TEST(SimulatedScheduler, runUntilStopsAtTheConditionOrTheLimit) {
  SimulatedScheduler scheduler;
  SerialQueue queue(scheduler, "a", QueueRank::service);
  bool done = false;
  Timer timer = queue.after(3s, [&] { done = true; });
  EXPECT_FALSE(scheduler.runUntil([&] { return done; }, 2s));
  EXPECT_TRUE(scheduler.runUntil([&] { return done; }, 2s));
}

TEST(PoolScheduler, growsWhenItsThreadsBlock) {
  PoolScheduler pool;
  std::mutex mutex;
  std::condition_variable opened;
  bool open = false;
  std::atomic<int> waiting{0};
  constexpr int blockers = 12;
  std::atomic<int> ended{0};
  for (int i = 0; i < blockers; ++i) {
    pool.execute([&] {
      pool.blocking([&] {
        std::unique_lock lock(mutex);
        ++waiting;
        opened.wait(lock, [&] { return open; });
      });
      ++ended;
    });
  }
  EXPECT_TRUE(eventually([&] { return waiting == blockers; }));
  std::atomic<bool> ran{false};
  pool.execute([&] { ran = true; });
  EXPECT_TRUE(eventually([&] { return ran.load(); }));
  {
    std::lock_guard lock(mutex);
    open = true;
  }
  opened.notify_all();
  EXPECT_TRUE(eventually([&] { return ended == blockers; }));
}

TEST(PoolScheduler, worksWhateverNumberOfOtherThreadsWait) {
  std::latch open(1);
  std::atomic<std::size_t> waiting{0};
  std::atomic<bool> ran{false};
  PoolScheduler pool;
  const std::size_t others = std::max(2U, std::thread::hardware_concurrency()) + 2;
  {
    std::vector<std::jthread> threads;
    for (std::size_t index = 0; index < others; ++index)
      threads.emplace_back([&] {
        pool.blocking([&] {
          ++waiting;
          open.wait();
        });
      });
    EXPECT_TRUE(eventually([&] { return waiting == others; }));
    pool.execute([&] { ran = true; });
    EXPECT_TRUE(eventually([&] { return ran.load(); }));
    open.count_down();
  }
}

TEST(PoolScheduler, leavesNoThread) {
  const auto threads = [] {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  };
  const auto before = threads();
  for (int round = 0; round < 10; ++round) {
    std::latch open(1);
    std::atomic<int> began{0};
    PoolScheduler pool;
    for (int index = 0; index < 8; ++index)
      pool.execute([&] {
        pool.blocking([&] {
          ++began;
          open.wait();
        });
      });
    EXPECT_TRUE(eventually([&] { return began == 8; }));
    open.count_down();
  }
  // The system removes a joined thread a moment later.
  EXPECT_TRUE(eventually([&] { return threads() == before; })) << threads();
}

TEST(PoolScheduler, cancelledTimersAreDroppedWithWhatTheyHold) {
  PoolScheduler pool;
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> weak = held;
  const auto timer = pool.schedule(pool.now() + 1h, [held] { (void)held; });
  held.reset();
  pool.cancel(timer);
  EXPECT_TRUE(weak.expired());
}

TEST(PoolScheduler, aNearerTimerOvertakesAFarOne) {
  PoolScheduler pool;
  std::atomic<bool> near{false};
  pool.schedule(pool.now() + 1h, [] {});
  pool.schedule(pool.now() + 5ms, [&] { near = true; });
  EXPECT_TRUE(eventually([&] { return near.load(); }));
}

TEST(PoolScheduler, destructionWaitsForRunningWorkAndDropsTheRest) {
  std::atomic<bool> ended{false};
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> weak = held;
  {
    PoolScheduler pool;
    std::atomic<bool> began{false};
    pool.execute([&] {
      began = true;
      std::this_thread::yield();
      ended = true;
    });
    EXPECT_TRUE(eventually([&] { return began.load(); }));
    pool.schedule(pool.now() + 1h, [held = std::move(held)] { (void)held; });
  }
  EXPECT_TRUE(ended);
  EXPECT_TRUE(weak.expired());
}

TEST(PoolScheduler, droppedTimersMayOwnTimersAndCancelThem) {
  auto owner = std::make_shared<Timer>();
  const std::weak_ptr<Timer> weak = owner;
  {
    PoolScheduler pool;
    const SerialQueue queue(pool, "test.owner", QueueRank::service);
    *owner = queue.after(1h, [owner] { (void)owner; });
    owner.reset();
  }
  EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace quorl
