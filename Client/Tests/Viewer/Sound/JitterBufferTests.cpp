// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Sound/JitterBuffer.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numbers>

#include <gtest/gtest.h>

namespace quorl::viewer {
namespace {

using client::Clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr std::size_t packetFrames = 1'024;
constexpr int amplitude = 10'000;

// A host that sends a tone of 1 kHz in one channel, and an output with a clock of its own, in virtual time.
class SoundSimulation : public testing::Test {
 protected:
  SoundSimulation() {
    for (std::size_t packet = 0; packet < tone_.size(); ++packet)
      for (std::size_t frame = 0; frame < packetFrames; ++frame) {
        const auto at = static_cast<double>((packet * packetFrames + frame) % 48);
        tone_[packet].push_back(
            static_cast<std::int16_t>(std::lround(amplitude * std::sin(2 * std::numbers::pi * at / 48))));
      }
  }

  // When packet `number` arrives. The host's clock runs `driftPPM` faster than the output's.
  Clock::time_point arrivalOf(std::uint64_t number) const {
    const double sent = static_cast<double>(number + 1) * packetFrames / 48'000 * (1 - driftPPM / 1e6);
    return Clock::time_point(std::chrono::round<nanoseconds>(std::chrono::duration<double>(sent))) +
           delay(number);
  }
  // The output holds 20 ms, and asks every 5 ms for what it has played.
  void runUntil(Clock::time_point end) {
    while (now_ < end) {
      while (arrivalOf(number_) <= now_) {
        if (isSent(number_)) push(arrivalOf(number_));
        ++number_;
      }
      std::vector<std::int16_t> asked(960 - held_.size());
      const auto pulled = buffer_.pull(asked, microseconds(held_.size() * 1'000 / 48), now_);
      lastPull_ = pulled.kind;
      held_.insert(held_.end(), asked.begin(), asked.begin() + static_cast<std::ptrdiff_t>(pulled.samples));
      ASSERT_GE(held_.size(), output_.size()) << "the output runs dry";
      std::copy_n(held_.begin(), output_.size(), output_.begin());
      held_.erase(held_.begin(), held_.begin() + output_.size());
      if (onOutput) onOutput();
      watchSteps();
      now_ += milliseconds(5);
    }
  }
  void push(Clock::time_point when) {
    buffer_.push(tone_[number_ % tone_.size()], number_ * packetFrames * 1'000'000 / 48'000, when);
  }
  double level() const { return buffer_.report(now_).levelMilliseconds; }
  // How far the level is from its target.
  double error() const {
    const auto report = buffer_.report(now_);
    return report.levelMilliseconds - report.targetMilliseconds;
  }

  double driftPPM = 0;
  std::function<milliseconds(std::uint64_t)> delay = [](std::uint64_t) { return milliseconds(5); };
  std::function<bool(std::uint64_t)> isSent = [](std::uint64_t) { return true; };
  std::function<void()> onOutput;

  JitterBuffer buffer_{{48'000, 1}};
  Clock::time_point now_;
  std::uint64_t number_ = 0;
  std::vector<std::int16_t> held_;
  std::array<std::int16_t, 240> output_{};
  JitterBuffer::Pull lastPull_ = JitterBuffer::Pull::silence;
  int largestStep_ = 0;

 private:
  void watchSteps() {
    for (const int sample : output_) {
      largestStep_ = std::max(largestStep_, std::abs(sample - lastSample_));
      lastSample_ = sample;
    }
  }

  std::array<std::vector<std::int16_t>, 3> tone_;  // 3 packets are 64 periods
  int lastSample_ = 0;
};

// The steepest step of the tone, with a little for a fade.
constexpr int smoothStep = 1'309 + 100;

class Drift : public SoundSimulation, public testing::WithParamInterface<double> {};

TEST_P(Drift, isCorrectedForThirtyMinutesWithoutADrop) {
  driftPPM = GetParam();
  delay = [](std::uint64_t number) { return milliseconds(5 + number * 7 % 11); };
  runUntil(Clock::time_point(seconds(2)));
  double lowest = error();
  double highest = error();
  onOutput = [&] {
    lowest = std::min(lowest, error());
    highest = std::max(highest, error());
    ASSERT_EQ(lastPull_, JitterBuffer::Pull::sound);
  };
  runUntil(Clock::time_point(std::chrono::minutes(30)));
  const auto report = buffer_.report(now_);
  EXPECT_EQ(report.cuts, 0U);
  EXPECT_EQ(report.stalls, 0U);
  EXPECT_EQ(report.gaps, 0U);
  // The jitter of 10 ms is part of each single measurement.
  EXPECT_GT(lowest, -10 - 5);
  EXPECT_LT(highest, 10 + 5);
  EXPECT_NEAR(report.stretch, -GetParam(), 250);
  EXPECT_LE(largestStep_, smoothStep);
}

TEST_P(Drift, leavesTheMeanLevelAtTheTarget) {
  driftPPM = GetParam();
  runUntil(Clock::time_point(seconds(2)));
  double furthest = 0;
  onOutput = [&] { furthest = std::max(furthest, std::abs(error())); };
  runUntil(Clock::time_point(std::chrono::minutes(5)));
  EXPECT_LE(furthest, 10);
}

INSTANTIATE_TEST_SUITE_P(BothWays, Drift, testing::Values(-500.0, 0.0, 500.0));

TEST_F(SoundSimulation, isBackAtTheTargetASecondAfterAStall) {
  // Nothing arrives from second 5 to second 7, then everything at once.
  delay = [](std::uint64_t number) {
    const auto sent = milliseconds((number + 1) * 1'024 / 48);
    return sent > seconds(5) && sent < seconds(7) ? seconds(7) - sent + milliseconds(5) : milliseconds(5);
  };
  runUntil(Clock::time_point(seconds(8)));
  EXPECT_NEAR(error(), 0, 10);
  const auto report = buffer_.report(now_);
  EXPECT_EQ(report.stalls, 1U);
  EXPECT_LE(report.cuts, 5U);
  EXPECT_LE(largestStep_, smoothStep) << "a click";
  double furthest = 0;
  onOutput = [&] { furthest = std::max(furthest, std::abs(error())); };
  runUntil(Clock::time_point(seconds(60)));
  EXPECT_LE(furthest, 10);
  EXPECT_EQ(buffer_.report(now_).stalls, 1U);
}

TEST_F(SoundSimulation, isBackAtTheTargetAfterShortStalls) {
  // Every 5 seconds the link stops for 150 ms.
  delay = [](std::uint64_t number) {
    const auto sent = milliseconds((number + 1) * 1'024 / 48);
    const auto phase = sent % seconds(5);
    return sent > seconds(1) && phase < milliseconds(150) ? milliseconds(155) - phase : milliseconds(5);
  };
  for (int second = 6; second < 60; second += 5) {
    runUntil(Clock::time_point(seconds(second) + milliseconds(150)));
    EXPECT_NEAR(error(), 0, 10) << second;
  }
  EXPECT_LE(largestStep_, smoothStep);
}

TEST_F(SoundSimulation, playsSilenceForLostPackets) {
  isSent = [](std::uint64_t number) { return number != 100; };
  int silent = 0;
  int longest = 0;
  onOutput = [&] {
    if (now_ < Clock::time_point(seconds(1))) return;
    for (const int sample : output_) {
      silent = std::abs(sample) < 3 ? silent + 1 : 0;
      longest = std::max(longest, silent);
    }
  };
  runUntil(Clock::time_point(seconds(4)));
  onOutput = nullptr;
  EXPECT_NEAR(longest, 1'024 - 48 * 5, 100) << "a packet without the fades";
  EXPECT_LE(largestStep_, smoothStep);
  EXPECT_EQ(buffer_.report(now_).gaps, 1U);
  EXPECT_EQ(buffer_.report(now_).stalls, 0U);
  EXPECT_NEAR(error(), 0, 10);
}

TEST_F(SoundSimulation, holdsJitterThatFitsIntoTheBuffer) {
  delay = [](std::uint64_t number) { return milliseconds(5 + (number % 17 == 0 ? 20 : 0)); };
  runUntil(Clock::time_point(seconds(60)));
  const auto report = buffer_.report(now_);
  EXPECT_EQ(report.stalls, 0U);
  EXPECT_EQ(report.cuts, 0U);
  EXPECT_LE(largestStep_, smoothStep);
}

TEST_F(SoundSimulation, holdsLessWhileTheLinkIsCalm) {
  runUntil(Clock::time_point(milliseconds(500)));
  EXPECT_NEAR(level(), 50, 10);
  runUntil(Clock::time_point(seconds(40)));
  EXPECT_NEAR(level(), 36, 5);
  // One packet in 100 is late from now on.
  delay = [](std::uint64_t number) { return milliseconds(number % 100 == 0 ? 21 : 5); };
  runUntil(Clock::time_point(seconds(80)));
  EXPECT_NEAR(level(), 50, 8);
  delay = [](std::uint64_t) { return milliseconds(5); };
  runUntil(Clock::time_point(seconds(150)));
  EXPECT_NEAR(level(), 36, 5);
  const auto report = buffer_.report(now_);
  EXPECT_EQ(report.cuts, 0U);
  EXPECT_EQ(report.stalls, 0U);
  EXPECT_LE(largestStep_, smoothStep);
}

TEST_F(SoundSimulation, holdsMoreForTwoMinutesAfterAStall) {
  delay = [](std::uint64_t number) { return milliseconds(number == 2'000 ? 105 : 5); };
  runUntil(Clock::time_point(seconds(42)));
  EXPECT_NEAR(level(), 36, 5);
  runUntil(Clock::time_point(seconds(45)));
  EXPECT_NEAR(level(), 50, 5);
  runUntil(Clock::time_point(seconds(160)));
  EXPECT_NEAR(level(), 50, 5);
  runUntil(Clock::time_point(seconds(210)));
  EXPECT_EQ(buffer_.report(now_).stalls, 1U);
  EXPECT_NEAR(level(), 36, 5);
}

TEST_F(SoundSimulation, restsWhenNothingComes) {
  isSent = [](std::uint64_t number) { return number < 100; };
  runUntil(Clock::time_point(seconds(3)));
  EXPECT_EQ(lastPull_, JitterBuffer::Pull::silence);
  runUntil(Clock::time_point(seconds(4)));
  EXPECT_EQ(lastPull_, JitterBuffer::Pull::idle);
  EXPECT_LE(largestStep_, smoothStep);
}

TEST_F(SoundSimulation, beginsAgainWithANewCountOfTimeStamps) {
  runUntil(Clock::time_point(seconds(2)));
  buffer_.restart();
  const auto silence = std::vector<std::int16_t>(packetFrames);
  buffer_.push(silence, 0, now_);
  EXPECT_EQ(buffer_.report(now_).gaps, 0U);
}

TEST_F(SoundSimulation, isNoMoreThan80MillisecondsFromThePicture) {
  const auto lag = [this](milliseconds pictureAge) {
    for (int second = 0; second < 8; ++second) {
      buffer_.setPictureAge(pictureAge);
      runUntil(now_ + seconds(1));
    }
    return std::chrono::duration<double, std::milli>(*buffer_.report(now_).age - pictureAge).count();
  };
  runUntil(Clock::time_point(seconds(40)));
  for (const auto age : {10, 20, 60, 160, 250, 330, 40, 15}) {
    EXPECT_LE(lag(milliseconds(age)), 80) << age;
    EXPECT_GE(lag(milliseconds(age)), -80) << age;
  }
  EXPECT_LE(largestStep_, smoothStep);
}

TEST_F(SoundSimulation, agesByWhatItsPacketsWereLate) {
  runUntil(Clock::time_point(seconds(3)));
  const auto before = *buffer_.report(now_).age;
  delay = [](std::uint64_t) { return milliseconds(20); };
  runUntil(Clock::time_point(seconds(4)));
  // Later packets find less in the buffer: the age of what is heard stays.
  const std::chrono::duration<double, std::milli> change = *buffer_.report(now_).age - before;
  EXPECT_NEAR(change.count(), 0, 5);
}

TEST_F(SoundSimulation, holdsBoundedMemoryWithoutAnOutput) {
  for (number_ = 0; number_ < 10'000; ++number_) push(Clock::time_point());
  EXPECT_LE(buffer_.level(Clock::time_point(seconds(1))), JitterBuffer::longest + milliseconds(25));
}

TEST_F(SoundSimulation, survivesAbsurdTimeStamps) {
  const auto sound = std::vector<std::int16_t>(packetFrames, 100);
  for (const std::uint64_t pts :
       {~std::uint64_t{0}, std::uint64_t{0}, std::uint64_t{1} << 63U, std::uint64_t{5}}) {
    buffer_.push(sound, pts, now_);
    buffer_.pull(output_, milliseconds(10), now_);
  }
  EXPECT_EQ(buffer_.report(now_).gaps, 3U);
}

}  // namespace
}  // namespace quorl::viewer
