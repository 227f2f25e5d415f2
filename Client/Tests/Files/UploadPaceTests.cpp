// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <quorl-client/Files/UploadPace.h>

namespace quorl::client {
namespace {

using namespace std::chrono_literals;

// A link with a buffer that never overflows. The sender fills the pace's window; what the link did not carry
// yet waits.
class SimulatedLink {
 public:
  SimulatedLink(double bytesPerSecond, Clock::duration roundTrip)
      : bytesPerSecond_(bytesPerSecond), roundTrip_(roundTrip) {}

  void setRate(double bytesPerSecond) { bytesPerSecond_ = bytesPerSecond; }
  void setOtherDelay(Clock::duration delay) { otherDelay_ = delay; }

  /// Returns the longest delay in the buffer during the last `counted`.
  Clock::duration run(UploadPace& pace, Clock::duration time, Clock::duration counted) {
    Clock::duration longest{};
    const auto end = now_ + time;
    while (now_ < end) {
      const auto carried = std::chrono::duration<double>(roundTrip_).count() * bytesPerSecond_;
      const auto window = static_cast<double>(pace.window());
      const auto queued = std::max(0.0, window - carried);
      const auto delay = std::chrono::duration_cast<Clock::duration>(
          std::chrono::duration<double>(queued / bytesPerSecond_));
      if (now_ >= end - counted) longest = std::max(longest, delay);
      pace.observe({roundTrip_ + delay + otherDelay_, roundTrip_, pace.window()}, now_);
      now_ += 1ms;
    }
    return longest;
  }

 private:
  double bytesPerSecond_;
  Clock::duration roundTrip_;
  Clock::duration otherDelay_{};
  Clock::time_point now_{1h};
};

TEST(UploadPace, keepsTheBufferOfASlowLinkShort) {
  UploadPace pace;
  SimulatedLink link(625'000, 40ms);  // 5 Mbit/s
  EXPECT_LE(link.run(pace, 20s, 15s), 80ms);
  EXPECT_GE(pace.window(), 25'000u) << "the link is used whole";
}

TEST(UploadPace, growsOnAFastLinkBeyondWhatItCarriesInARoundTrip) {
  UploadPace pace;
  SimulatedLink link(1.2e9, 1ms);
  link.run(pace, 1s, 0s);
  EXPECT_GE(pace.window(), 1'200'000u);
}

TEST(UploadPace, followsALinkThatBecomesSlowerAndFasterAgain) {
  UploadPace pace;
  SimulatedLink link(2'500'000, 40ms);
  link.run(pace, 10s, 0s);
  link.setRate(250'000);
  EXPECT_LE(link.run(pace, 20s, 10s), 90ms);
  link.setRate(2'500'000);
  link.run(pace, 20s, 0s);
  EXPECT_GE(pace.window(), 100'000u);
}

TEST(UploadPace, keepsItsShareBesideAStreamInTheOppositeDirection) {
  UploadPace pace;
  SimulatedLink link(625'000, 40ms);
  link.setOtherDelay(35ms);
  link.run(pace, 20s, 0s);
  EXPECT_GE(pace.window(), 25'000u);
}

TEST(UploadPace, neverStopsAnUpload) {
  UploadPace pace;
  for (int step = 0; step < 1'000; ++step) pace.observe({10s, 1ms, 1'000'000}, Clock::time_point{1h * step});
  EXPECT_EQ(pace.window(), UploadPace::smallestWindow);
  EXPECT_TRUE(pace.mayStart({10s, 1ms, 0}));
}

TEST(UploadPace, doesNotGrowWhileTheSenderDoesNotFillIt) {
  UploadPace pace;
  const auto before = pace.window();
  for (int step = 0; step < 100; ++step) pace.observe({1ms, 1ms, 100}, Clock::time_point{1h + 1s * step});
  EXPECT_EQ(pace.window(), before);
}

TEST(UploadPace, changesOnceARoundTrip) {
  UploadPace pace;
  const Clock::time_point now{1h};
  pace.observe({40ms, 40ms, 65'536}, now);
  const auto window = pace.window();
  EXPECT_EQ(window, 131'072u);
  pace.observe({40ms, 40ms, window}, now + 39ms);
  EXPECT_EQ(pace.window(), window);
  pace.observe({40ms, 40ms, window}, now + 40ms);
  EXPECT_EQ(pace.window(), 2 * window);
}

}  // namespace
}  // namespace quorl::client
