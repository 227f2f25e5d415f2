// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Sound/SoundTimeline.h>

#include <limits>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

class SoundTimelineTest : public testing::Test {
 protected:
  static constexpr Clock::time_point start{std::chrono::hours(1)};

  static std::uint64_t ptsOf(std::uint64_t number) { return number * 1'024 * 1'000'000 / 48'000; }
  // A packet arrives this long after its time stamp.
  void arrive(std::uint64_t number, Clock::duration delay) { add(ptsOf(number), delay); }
  void add(std::uint64_t pts, Clock::duration delay) {
    take(timeline_.add({pts, {}, start + microseconds(static_cast<std::int64_t>(pts)) + delay}));
  }
  void take(const std::vector<PlacedSound>& placed) {
    placed_.insert(placed_.end(), placed.begin(), placed.end());
  }
  std::vector<std::int64_t> begins() {
    take(timeline_.flush());
    std::vector<std::int64_t> result;
    for (const auto& sound : placed_)
      result.push_back(std::chrono::duration_cast<microseconds>(sound.begin - start).count());
    return result;
  }
  // The placed packets do not overlap and leave no gap, to a few microseconds.
  static bool areContiguous(const std::vector<std::int64_t>& begins, std::size_t from, std::size_t to) {
    for (std::size_t index = from + 1; index < to; ++index)
      if (std::abs(begins[index] - begins[index - 1] - 21'333) > 10) return false;
    return true;
  }

  SoundTimeline timeline_{48'000};
  std::vector<PlacedSound> placed_;
};

TEST_F(SoundTimelineTest, placesSoundByTheLeastDelay) {
  for (std::uint64_t number = 0; number < 40; ++number)
    arrive(number, milliseconds(number == 7 ? 20 : 50 + static_cast<int>(number % 5) * 10));
  const auto found = begins();
  ASSERT_EQ(found.size(), 40U);
  // The sound of a packet is two packets old when it leaves.
  EXPECT_NEAR(static_cast<double>(found[0]), 20'000 - 2 * 21'333, 5);
  EXPECT_TRUE(areContiguous(found, 0, 40));
}

TEST_F(SoundTimelineTest, holdsSoundBackWhileItLearns) {
  arrive(0, milliseconds(5));
  arrive(1, milliseconds(5));
  EXPECT_TRUE(placed_.empty());
  for (std::uint64_t number = 2; number < 24; ++number) arrive(number, milliseconds(5));
  EXPECT_TRUE(placed_.empty());
  arrive(24, milliseconds(5));
  EXPECT_EQ(placed_.size(), 25U);
  arrive(25, milliseconds(5));
  EXPECT_EQ(placed_.size(), 26U);
}

TEST_F(SoundTimelineTest, takesAStallOfTheNetworkForOne) {
  for (std::uint64_t number = 0; number < 50; ++number) arrive(number, milliseconds(10));
  // Two seconds of packets arrive together.
  const auto burst = start + microseconds(ptsOf(150));
  for (std::uint64_t number = 50; number < 150; ++number) take(timeline_.add({ptsOf(number), {}, burst}));
  for (std::uint64_t number = 150; number < 200; ++number) arrive(number, milliseconds(10));
  const auto found = begins();
  ASSERT_EQ(found.size(), 200U);
  EXPECT_TRUE(areContiguous(found, 0, 200));
}

TEST_F(SoundTimelineTest, makesAPauseOfTheHostAGap) {
  for (std::uint64_t number = 0; number < 100; ++number) arrive(number, milliseconds(10));
  for (std::uint64_t number = 100; number < 300; ++number) arrive(number, seconds(3) + milliseconds(10));
  const auto found = begins();
  ASSERT_EQ(found.size(), 300U);
  EXPECT_TRUE(areContiguous(found, 0, 100));
  // From a second after the pause at the latest.
  EXPECT_TRUE(areContiguous(found, 150, 300));
  EXPECT_NEAR(static_cast<double>(found[299] - found[99]), 3'000'000 + 200 * 21'333, 100);
}

TEST_F(SoundTimelineTest, leavesTheTimeOfALostPacketEmpty) {
  for (std::uint64_t number = 0; number < 100; ++number)
    if (number != 40) arrive(number, milliseconds(10));
  const auto found = begins();
  ASSERT_EQ(found.size(), 99U);
  EXPECT_NEAR(static_cast<double>(found[40] - found[39]), 2 * 21'333, 5);
}

TEST_F(SoundTimelineTest, placesNothingAfterItsArrival) {
  for (std::uint64_t number = 0; number < 30; ++number) arrive(number, milliseconds(10));
  const auto now = start + microseconds(ptsOf(30));
  for (const std::uint64_t pts : {ptsOf(1'000'000), std::numeric_limits<std::uint64_t>::max(),
                                  std::uint64_t{0}, std::uint64_t{1} << 63U})
    take(timeline_.add({pts, {}, now}));
  take(timeline_.flush());
  for (const auto& sound : placed_) EXPECT_LE(sound.begin, now);
  for (std::size_t index = 1; index < placed_.size(); ++index)
    EXPECT_GT(placed_[index].begin, placed_[index - 1].begin);
}

TEST_F(SoundTimelineTest, goesOnAfterTimeStampsThatWentBack) {
  for (std::uint64_t number = 1'000; number < 1'100; ++number) arrive(number, milliseconds(10));
  const auto before = start + microseconds(ptsOf(1'100));
  for (std::uint64_t number = 0; number < 200; ++number)
    take(timeline_.add({ptsOf(number), {}, before + microseconds(ptsOf(number))}));
  take(timeline_.flush());
  EXPECT_GE(placed_.size(), 100U + 200 - 50) << "a second at most is lost";
}

TEST_F(SoundTimelineTest, takesAnAbsurdRateFor48000) {
  EXPECT_EQ(SoundTimeline(0).packetLength(), timeline_.packetLength());
  EXPECT_EQ(SoundTimeline(-5).packetLength(), timeline_.packetLength());
  EXPECT_EQ(SoundTimeline(std::numeric_limits<double>::quiet_NaN()).packetLength(), timeline_.packetLength());
}

}  // namespace
}  // namespace quorl::client
