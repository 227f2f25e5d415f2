// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Video/DatagramVideo.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

using std::chrono::milliseconds;

// Frames of a stream as datagrams: a key frame is 3 datagrams, another frame 2.
std::vector<Bytes> frame(std::uint32_t id, bool isKeyframe = false) {
  const Bytes payload(isKeyframe ? 2'500 : 1'500, static_cast<std::uint8_t>(id));
  return VideoUDP::fragments(1, id, isKeyframe ? VideoPacketFlags::keyframe : VideoPacketFlags{},
                             id * 1000ULL, payload);
}

class DatagramVideoTest : public testing::Test {
 protected:
  void accept(const Bytes& datagram) { note(video_.accept(datagram, now_)); }
  void acceptAll(const std::vector<Bytes>& datagrams) {
    for (const auto& datagram : datagrams) accept(datagram);
  }
  void pass(Clock::duration time) {
    now_ += time;
    note(video_.tick(now_));
  }
  // The first byte of each picture is its frame's number.
  void note(const DatagramVideo::Actions& actions) {
    for (const auto& picture : actions.pictures) delivered_.push_back(picture.data.at(0));
    requests_ += actions.needsKeyframe ? 1 : 0;
  }

  DatagramVideo video_;
  Clock::time_point now_{std::chrono::hours(1)};
  std::vector<int> delivered_;
  int requests_ = 0;
};

TEST_F(DatagramVideoTest, deliversWholeFramesInOrder) {
  acceptAll(frame(1, true));
  acceptAll(frame(2));
  acceptAll(frame(3));
  EXPECT_EQ(delivered_, (std::vector{1, 2, 3}));
  EXPECT_EQ(requests_, 0);
  EXPECT_EQ(video_.nextTick(), std::nullopt);
}

TEST_F(DatagramVideoTest, requestsAKeyframeAtOnceIfAWholeFrameIsMissing) {
  acceptAll(frame(1, true));
  acceptAll(frame(3));
  EXPECT_EQ(delivered_, std::vector{1});
  EXPECT_EQ(requests_, 1);
}

TEST_F(DatagramVideoTest, deliversNothingBetweenALossAndTheNextKeyframe) {
  acceptAll(frame(1, true));
  for (std::uint32_t id = 3; id < 7; ++id) acceptAll(frame(id));
  acceptAll(frame(7, true));
  acceptAll(frame(8));
  EXPECT_EQ(delivered_, (std::vector{1, 7, 8}));
  EXPECT_EQ(requests_, 1);
  EXPECT_EQ(video_.lostFrames(), 5U);
}

TEST_F(DatagramVideoTest, waitsForTheRestOfAFrameThatCameInPart) {
  acceptAll(frame(1, true));
  const auto second = frame(2);
  accept(second[0]);
  acceptAll(frame(3));
  EXPECT_EQ(delivered_, std::vector{1});
  EXPECT_EQ(requests_, 0);
  pass(milliseconds(29));
  accept(second[1]);
  EXPECT_EQ(delivered_, (std::vector{1, 2, 3}));
  EXPECT_EQ(requests_, 0);
}

TEST_F(DatagramVideoTest, givesUpAFrameThatStaysIncomplete) {
  acceptAll(frame(1, true));
  accept(frame(2)[0]);
  acceptAll(frame(3));
  ASSERT_EQ(video_.nextTick(), now_ + DatagramVideo::patience);
  pass(DatagramVideo::patience);
  EXPECT_EQ(delivered_, std::vector{1});
  EXPECT_EQ(requests_, 1);
}

TEST_F(DatagramVideoTest, takesAKeyframeAfterAGapWithoutWaiting) {
  acceptAll(frame(1, true));
  accept(frame(2)[0]);
  acceptAll(frame(3, true));
  EXPECT_EQ(delivered_, (std::vector{1, 3}));
  EXPECT_EQ(requests_, 0);
}

TEST_F(DatagramVideoTest, repeatsTheRequestUntilAKeyframeArrives) {
  acceptAll(frame(1, true));
  acceptAll(frame(3));
  EXPECT_EQ(requests_, 1);
  pass(milliseconds(499));
  EXPECT_EQ(requests_, 1);
  pass(milliseconds(1));
  EXPECT_EQ(requests_, 2);
  acceptAll(frame(4, true));
  pass(std::chrono::seconds(10));
  EXPECT_EQ(requests_, 2);
}

TEST_F(DatagramVideoTest, noticesAnIncompleteLastFrame) {
  acceptAll(frame(1, true));
  accept(frame(2)[0]);
  ASSERT_EQ(video_.nextTick(), now_ + DatagramVideo::quiet);
  pass(milliseconds(99));
  EXPECT_EQ(requests_, 0);
  pass(milliseconds(1));
  EXPECT_EQ(requests_, 1);
}

TEST_F(DatagramVideoTest, requestsAnIncompleteFirstKeyframeAgain) {
  accept(frame(1, true)[0]);
  pass(DatagramVideo::quiet);
  EXPECT_EQ(requests_, 1);
}

TEST_F(DatagramVideoTest, deliversNothingBeforeTheFirstKeyframe) {
  acceptAll(frame(5));
  EXPECT_TRUE(delivered_.empty());
  EXPECT_EQ(requests_, 1);
  acceptAll(frame(6, true));
  EXPECT_EQ(delivered_, std::vector{6});
}

TEST_F(DatagramVideoTest, deliversARepeatedFrameOnce) {
  acceptAll(frame(1, true));
  acceptAll(frame(2));
  acceptAll(frame(2));
  acceptAll(frame(1, true));
  EXPECT_EQ(delivered_, (std::vector{1, 2}));
  EXPECT_EQ(requests_, 0);
}

TEST_F(DatagramVideoTest, countsForeignDatagrams) {
  accept(Bytes{});
  accept(Bytes(22, 0xBD));
  accept(Bytes(2'000, 0));
  EXPECT_EQ(video_.ignoredDatagrams(), 3U);
  EXPECT_TRUE(delivered_.empty());
}

}  // namespace
}  // namespace quorl::client
