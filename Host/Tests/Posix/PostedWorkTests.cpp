// SPDX-License-Identifier: GPL-3.0-or-later
#include <poll.h>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <QuorlHostPosix/PostedWork.h>

namespace quorl::test {
namespace {

bool isReadable(const PostedWork& work) {
  pollfd entry{work.waker()->descriptor(), POLLIN, 0};
  return ::poll(&entry, 1, 0) == 1;
}

TEST(PostedWork, runsInTheOrderOfThePosts) {
  PostedWork work;
  std::vector<int> order;
  for (int i = 0; i < 100; ++i) work.post([&order, i] { order.push_back(i); });
  EXPECT_TRUE(work.run());
  ASSERT_EQ(order.size(), 100U);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(PostedWork, isReadableFromAPostUntilItIsDrained) {
  PostedWork work;
  EXPECT_FALSE(isReadable(work));
  work.post([] {});
  EXPECT_TRUE(isReadable(work));
  work.waker()->drain();
  EXPECT_FALSE(isReadable(work));
}

TEST(PostedWork, drainsMoreWakesThanThePipeHolds) {
  PostedWork work;
  for (int i = 0; i < 200'000; ++i) work.waker()->wake();
  work.waker()->drain();
  EXPECT_FALSE(isReadable(work));
}

TEST(PostedWork, leavesWhatItsWorkPostsToTheNextRun) {
  PostedWork work;
  int runs = 0;
  work.post([&] {
    ++runs;
    work.post([&] { ++runs; });
  });
  work.waker()->drain();
  EXPECT_TRUE(work.run());
  EXPECT_EQ(runs, 1);
  EXPECT_TRUE(isReadable(work));
  EXPECT_TRUE(work.run());
  EXPECT_EQ(runs, 2);
}

TEST(PostedWork, dropsPendingAndLaterWorkOnceClosed) {
  PostedWork work;
  const auto pending = std::make_shared<int>();
  int runs = 0;
  work.post([&] {
    ++runs;
    work.close();
  });
  work.post([&runs, pending] { ++runs; });
  EXPECT_FALSE(work.run());
  work.post([&runs, pending] { ++runs; });
  EXPECT_FALSE(work.run());
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(pending.use_count(), 1);
  EXPECT_TRUE(isReadable(work));
}

TEST(PostedWork, mayPostWhileItIsDestroyedWithoutRunning) {
  struct PostsAtItsEnd {
    PostedWork& work;
    ~PostsAtItsEnd() {
      work.post([] {});
    }
  };
  PostedWork work;
  work.post([last = std::make_unique<PostsAtItsEnd>(work)] {});
  work.close();
  EXPECT_FALSE(work.run());
}

TEST(PostedWork, runsEverythingThatOtherThreadsPost) {
  PostedWork work;
  int runs = 0;
  std::vector<std::thread> posters;
  for (int i = 0; i < 4; ++i) {
    posters.emplace_back([&] {
      for (int j = 0; j < 1'000; ++j) work.post([&runs] { ++runs; });
    });
  }
  while (runs < 4'000) {
    pollfd entry{work.waker()->descriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&entry, 1, 20'000), 1);
    work.waker()->drain();
    ASSERT_TRUE(work.run());
  }
  for (auto& poster : posters) poster.join();
}

}  // namespace
}  // namespace quorl::test
