// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Concurrency/SerialQueue.h>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/Eventually.h>

namespace quorl {
namespace {

using namespace std::chrono_literals;
using test::eventually;

TEST(SerialQueue, runsWorkInOrderOnThePool) {
  PoolScheduler pool;
  SerialQueue queue(pool, "a", QueueRank::service);
  std::vector<int> seen;
  for (int i = 0; i < 1000; ++i) queue.async([&seen, i] { seen.push_back(i); });
  queue.sync([] {});
  ASSERT_EQ(seen.size(), 1000U);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(seen[static_cast<std::size_t>(i)], i);
}

TEST(SerialQueue, neverRunsTwoPiecesAtOnceFromManyThreads) {
  PoolScheduler pool;
  SerialQueue queue(pool, "a", QueueRank::service);
  int unguarded = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        queue.async([&] { ++unguarded; });
        queue.sync([&] { ++unguarded; });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(queue.sync([&] { return unguarded; }), 4000);
}

TEST(SerialQueue, syncRunsAfterEverythingGivenBeforeAndReturnsTheValue) {
  SimulatedScheduler scheduler;
  SerialQueue queue(scheduler, "a", QueueRank::service);
  int value = 0;
  queue.async([&] { value = 7; });
  EXPECT_EQ(queue.sync([&] { return value; }), 7);
}

TEST(SerialQueue, syncOnAnIdleQueueRunsOnTheCallingThread) {
  PoolScheduler pool;
  SerialQueue queue(pool, "a", QueueRank::service);
  EXPECT_EQ(queue.sync([] { return std::this_thread::get_id(); }), std::this_thread::get_id());
}

TEST(SerialQueue, syncNeedsNoFreePoolThread) {
  PoolScheduler pool;
  std::mutex mutex;
  std::condition_variable opened;
  bool open = false;
  const int blockers = 2 * static_cast<int>(std::max(2U, std::thread::hardware_concurrency()));
  std::vector<SerialQueue> queues;
  for (int i = 0; i < blockers; ++i) {
    queues.emplace_back(pool, "blocker", QueueRank::service);
    queues.back().async([&] {
      std::unique_lock lock(mutex);
      opened.wait(lock, [&] { return open; });
    });
  }
  SerialQueue queue(pool, "a", QueueRank::service);
  int value = 0;
  queue.async([&] { value = 1; });
  EXPECT_EQ(queue.sync([&] { return ++value; }), 2);
  {
    std::lock_guard lock(mutex);
    open = true;
  }
  opened.notify_all();
  for (auto& blocked : queues) blocked.sync([] {});
}

TEST(SerialQueue, aChainOfWaitsDownTheRanksCompletesWhileAllQueuesAreBusy) {
  PoolScheduler pool;
  SerialQueue server(pool, "server", QueueRank::server);
  SerialQueue connection(pool, "connection", QueueRank::connection);
  SerialQueue stream(pool, "stream", QueueRank::stream);
  std::atomic<int> done{0};
  for (int i = 0; i < 200; ++i) {
    server.async([&] { connection.sync([&] { stream.sync([&] { ++done; }); }); });
    connection.async([&] { stream.sync([&] { ++done; }); });
    stream.async([&] { ++done; });
  }
  EXPECT_TRUE(eventually([&] { return done == 600; }));
}

TEST(SerialQueueDeathTest, waitingAgainstTheRankOrderAbortsWithBothLabels) {
  SimulatedScheduler scheduler;
  SerialQueue connection(scheduler, "quorl.conn", QueueRank::connection);
  SerialQueue server(scheduler, "quorl.server", QueueRank::server);
  EXPECT_DEATH(connection.sync([&] { server.sync([] {}); }), "quorl.conn.*quorl.server");
}

TEST(SerialQueueDeathTest, waitingOnTheCurrentQueueAborts) {
  SimulatedScheduler scheduler;
  SerialQueue queue(scheduler, "quorl.conn", QueueRank::connection);
  EXPECT_DEATH(queue.sync([&] { queue.sync([] {}); }), "quorl.conn");
}

TEST(SerialQueueDeathTest, assertCurrentAbortsElsewhere) {
  SimulatedScheduler scheduler;
  SerialQueue queue(scheduler, "quorl.input", QueueRank::service);
  EXPECT_DEATH(queue.assertCurrent(), "quorl.input");
}

TEST(SerialQueue, recognisesItsOwnWorkInANestedWait) {
  SimulatedScheduler scheduler;
  SerialQueue outer(scheduler, "a", QueueRank::server);
  SerialQueue inner(scheduler, "b", QueueRank::stream);
  EXPECT_FALSE(outer.isCurrent());
  outer.sync([&] {
    inner.sync([&] {
      EXPECT_TRUE(inner.isCurrent());
      EXPECT_TRUE(outer.isCurrent());
    });
    EXPECT_FALSE(inner.isCurrent());
  });
}

TEST(SerialQueue, workMayDropTheLastReferenceToItsOwner) {
  SimulatedScheduler scheduler;
  struct Owner {
    explicit Owner(Scheduler& s) : queue(s, "a", QueueRank::service) {}
    SerialQueue queue;
  };
  auto owner = std::make_shared<Owner>(scheduler);
  const std::weak_ptr<Owner> weak = owner;
  SerialQueue queue = owner->queue;
  bool ranAfter = false;
  queue.async([owner = std::move(owner)]() mutable { owner.reset(); });
  queue.async([&] { ranAfter = true; });
  scheduler.runReady();
  EXPECT_TRUE(weak.expired());
  EXPECT_TRUE(ranAfter);
}

TEST(Timer, firesOnceAfterItsDelayOnTheQueue) {
  SimulatedScheduler scheduler;
  SerialQueue queue(scheduler, "a", QueueRank::service);
  int fired = 0;
  Timer timer = queue.after(200ms, [&] {
    EXPECT_TRUE(queue.isCurrent());
    ++fired;
  });
  scheduler.advance(199ms);
  EXPECT_EQ(fired, 0);
  EXPECT_TRUE(timer.isPending());
  scheduler.advance(1ms);
  EXPECT_EQ(fired, 1);
  EXPECT_FALSE(timer.isPending());
  scheduler.advance(1s);
  EXPECT_EQ(fired, 1);
}

TEST(Timer, cancelOnTheQueueIsFinalEvenWhenTheTimeHasPassed) {
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    SimulatedScheduler scheduler(seed);
    SerialQueue queue(scheduler, "a", QueueRank::service);
    bool cancelled = false;
    Timer timer = queue.after(10ms, [&] { EXPECT_FALSE(cancelled); });
    Timer canceller = queue.after(10ms, [&] {
      timer.cancel();
      cancelled = true;
    });
    scheduler.advance(20ms);
    EXPECT_TRUE(cancelled);
  }
}

TEST(Timer, destructionAndAssignmentCancel) {
  SimulatedScheduler scheduler;
  SerialQueue queue(scheduler, "a", QueueRank::service);
  int fired = 0;
  {
    Timer timer = queue.after(1ms, [&] { ++fired; });
  }
  Timer timer = queue.after(1ms, [&] { ++fired; });
  timer = queue.after(2ms, [&] { fired += 10; });
  scheduler.advance(1s);
  EXPECT_EQ(fired, 10);
  EXPECT_EQ(scheduler.pendingTimers(), 0U);
}

TEST(Timer, everyRepeatsUntilCancelledFromItsOwnWork) {
  SimulatedScheduler scheduler;
  SerialQueue queue(scheduler, "a", QueueRank::service);
  int fired = 0;
  Timer timer;
  timer = queue.every(1s, 500ms, [&] {
    if (++fired == 3) timer.cancel();
  });
  scheduler.advance(1s);
  EXPECT_EQ(fired, 1);
  scheduler.advance(10s);
  EXPECT_EQ(fired, 3);
  EXPECT_EQ(scheduler.pendingTimers(), 0U);
}

TEST(Timer, cancellingReleasesWhatTheWorkHolds) {
  SimulatedScheduler scheduler;
  SerialQueue queue(scheduler, "a", QueueRank::service);
  auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> weak = held;
  Timer once = queue.after(1s, [held] { (void)held; });
  Timer often = queue.every(1s, 1s, [held] { (void)held; });
  held.reset();
  once.cancel();
  often.cancel();
  EXPECT_TRUE(weak.expired());
}

// An object with its own queue, kept alive by its pending work.
struct Owner : std::enable_shared_from_this<Owner> {
  explicit Owner(Scheduler& scheduler) : queue(scheduler, "test.owner", QueueRank::service) {}
  void post() {
    queue.async([self = shared_from_this()] { self->queue.async([self] { self->post(); }); });
  }
  SerialQueue queue;
};

TEST(SerialQueue, releasesItsPendingWorkWhenItsSchedulerEnds) {
  std::weak_ptr<Owner> simulated;
  std::weak_ptr<Owner> pooled;
  std::weak_ptr<Owner> late;
  {
    SimulatedScheduler simulation;
    PoolScheduler pool;
    for (const auto& [scheduler, weak] :
         {std::pair<Scheduler*, std::weak_ptr<Owner>*>{&simulation, &simulated}, {&pool, &pooled}}) {
      const auto owner = std::make_shared<Owner>(*scheduler);
      *weak = owner;
      for (int count = 0; count < 100; ++count) owner->post();
    }
    // Its destructor posts to a queue that the scheduler has already released.
    const auto other = std::make_shared<Owner>(simulation);
    late = other;
    other->queue.async([other, last = std::shared_ptr<void>(nullptr, [other](void*) { other->post(); })] {});
  }
  EXPECT_TRUE(simulated.expired());
  EXPECT_TRUE(pooled.expired());
  EXPECT_TRUE(late.expired());
}

TEST(Timer, firesOnTheRealPool) {
  PoolScheduler pool;
  SerialQueue queue(pool, "a", QueueRank::service);
  std::atomic<int> fired{0};
  Timer once = queue.after(5ms, [&] { ++fired; });
  Timer often = queue.every(1ms, 1ms, [&] { ++fired; });
  EXPECT_TRUE(eventually([&] { return fired > 5; }));
}

}  // namespace
}  // namespace quorl
