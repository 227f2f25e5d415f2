// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/DecodeQueue.h>

#include <gtest/gtest.h>

namespace quorl::viewer {
namespace {

using client::Clock;
using client::DecoderConfig;
using client::EncodedPicture;
using std::chrono::milliseconds;
using Request = DecodeQueue::Request;

class DecodeQueueTest : public testing::Test {
 protected:
  Request push(bool isKeyframe, milliseconds at = milliseconds(0), std::size_t bytes = 10) {
    return queue_.push(EncodedPicture{isKeyframe, ++number_, Bytes(bytes), Clock::time_point(at)});
  }
  // The numbers of the pictures that come out, and "c" for a configuration.
  std::string rest() {
    std::string text;
    while (auto item = queue_.pop()) {
      const auto* picture = std::get_if<EncodedPicture>(&*item);
      text += picture ? std::to_string(picture->ptsMicros) + " " : "c ";
    }
    return text;
  }

  DecodeQueue queue_;
  std::uint64_t number_ = 0;
};

TEST_F(DecodeQueueTest, keepsAShortBurstWhole) {
  queue_.push(DecoderConfig{});
  for (int index = 0; index < 10; ++index) EXPECT_EQ(push(index == 0), Request::none);
  EXPECT_EQ(rest(), "c 1 2 3 4 5 6 7 8 9 10 ");
}

TEST_F(DecodeQueueTest, asksForAKeyframeAtTheStartAndAgainEveryHalfSecond) {
  EXPECT_EQ(push(false, milliseconds(0)), Request::keyframe);
  EXPECT_EQ(push(false, milliseconds(499)), Request::none);
  EXPECT_EQ(push(false, milliseconds(500)), Request::keyframe);
  EXPECT_EQ(push(true, milliseconds(510)), Request::none);
  EXPECT_EQ(push(false, milliseconds(520)), Request::none);
  EXPECT_EQ(rest(), "4 5 ");
  EXPECT_EQ(queue_.drops().withoutKeyframe, 3U);
}

TEST_F(DecodeQueueTest, goesOnWithTheNewestKeyframeAfterThirtyPictures) {
  queue_.push(DecoderConfig{});
  for (int number = 1; number <= 30; ++number)
    EXPECT_EQ(push(number == 1 || number == 10 || number == 20), Request::none);
  EXPECT_EQ(push(false), Request::none);
  EXPECT_EQ(rest(), "c 20 21 22 23 24 25 26 27 28 29 30 31 ");
  EXPECT_EQ(queue_.drops().backlog, 19U);
}

TEST_F(DecodeQueueTest, goesOnWithTheNewestKeyframeAfterAQuarterOfASecond) {
  push(true, milliseconds(0));
  push(false, milliseconds(100));
  push(true, milliseconds(200));
  EXPECT_EQ(push(false, milliseconds(250)), Request::none);
  EXPECT_EQ(queue_.pictures(), 4U);
  EXPECT_EQ(push(false, milliseconds(251)), Request::none);
  EXPECT_EQ(rest(), "3 4 5 ");
}

TEST_F(DecodeQueueTest, showsTheOnlyKeyframeAndAsksForAnotherWhenItFallsBack) {
  for (int number = 1; number <= 30; ++number) push(number == 1);
  EXPECT_EQ(push(false), Request::keyframe);
  EXPECT_EQ(push(false), Request::none);
  EXPECT_EQ(queue_.drops().backlog, 30U);
  EXPECT_EQ(push(true), Request::none);
  EXPECT_EQ(rest(), "1 33 ");
}

TEST_F(DecodeQueueTest, holdsBoundedMemory) {
  push(true);
  for (int number = 0; number < 20; ++number) push(false, milliseconds(0), 20U << 20U);
  EXPECT_EQ(rest(), "1 ");
  for (int number = 0; number < 20; ++number) push(true, milliseconds(0), 33U << 20U);
  EXPECT_LE(queue_.pictures(), 2U);
}

TEST_F(DecodeQueueTest, holdsOneOfManyConfigurations) {
  for (int number = 0; number < 1'000; ++number) queue_.push(DecoderConfig{});
  EXPECT_EQ(rest(), "c ");
}

TEST_F(DecodeQueueTest, keepsTheLastConfigurationWhileHidden) {
  queue_.push(DecoderConfig{});
  push(true);
  queue_.hide();
  EXPECT_EQ(rest(), "c ");
  push(true);
  queue_.push(DecoderConfig{});
  push(true);
  EXPECT_EQ(rest(), "c ");
  EXPECT_EQ(queue_.drops().hidden, 3U);
}

TEST_F(DecodeQueueTest, waitsForAKeyframeAfterItIsShownAgain) {
  push(true);
  queue_.hide();
  EXPECT_EQ(queue_.show(Clock::time_point(milliseconds(10))), Request::keyframe);
  EXPECT_EQ(queue_.show(Clock::time_point(milliseconds(11))), Request::none);
  EXPECT_EQ(push(false, milliseconds(20)), Request::none);
  push(true, milliseconds(30));
  EXPECT_EQ(rest(), "3 ");
}

TEST_F(DecodeQueueTest, goesOnWithTheNextKeyframeAfterAFailure) {
  for (int number = 1; number <= 6; ++number) push(number == 1 || number == 5);
  queue_.pop();
  EXPECT_EQ(queue_.handleFailure(Clock::time_point()), Request::none);
  EXPECT_EQ(rest(), "5 6 ");
  EXPECT_EQ(queue_.handleFailure(Clock::time_point()), Request::keyframe);
  push(false);
  EXPECT_EQ(rest(), "");
}

}  // namespace
}  // namespace quorl::viewer
