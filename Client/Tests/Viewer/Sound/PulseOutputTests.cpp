// SPDX-License-Identifier: GPL-3.0-or-later
// Against a private sound server with null outputs.
#include <quorl-viewer/Sound/PulseOutput.h>

#include <atomic>
#include <cmath>
#include <cstring>
#include <mutex>
#include <numbers>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <Linux/Sound/SoundServer.h>
#include <Support/Eventually.h>

#include "../../Support/SampleSound.h"
#include "../../Support/SampleVideo.h"

namespace quorl::viewer {
namespace {

using client::Clock;
using client::test::outputOfTool;
using quorl::test::eventually;
using std::chrono::seconds;

class PulseOutputTest : public testing::Test {
 protected:
  void open() {
    output_.open({48'000, 2}, {.source = [this](std::span<std::int16_t> samples,
                                                Clock::duration delay) { return fill(samples, delay); },
                               .failed =
                                   [this](const client::ClientError& error) {
                                     const std::lock_guard lock(mutex_);
                                     failures_.push_back(error.what);
                                   },
                               .playing = [this] { ++openings_; }});
  }
  SoundOutput::Filled fill(std::span<std::int16_t> samples, Clock::duration delay) {
    for (std::size_t at = 0; at < samples.size(); at += 2, ++frame_)
      samples[at] = samples[at + 1] = static_cast<std::int16_t>(
          std::lround(20'000 * std::sin(2 * std::numbers::pi * 997 * static_cast<double>(frame_) / 48'000)));
    delay_ = std::chrono::duration_cast<std::chrono::milliseconds>(delay).count();
    played_ += samples.size();
    return {samples.size(), isOver_ ? SoundOutput::Next::pause : SoundOutput::Next::more};
  }
  /// The pitch of half a second of what an output plays; 0 for silence.
  static double heard(const std::string& sink) {
    const auto bytes =
        outputOfTool("timeout 60 parec -d " + sink +
                     ".monitor --rate=48000 --channels=1 --format=float32le 2>&1 | head -c 96000");
    client::test::PlayedSound sound;
    sound.samples.resize(bytes.size() / sizeof(float));
    std::memcpy(sound.samples.data(), bytes.data(), sound.samples.size() * sizeof(float));
    return sound.pitch(0, 0.5);
  }
  static bool isHeard(const std::string& sink) {
    return eventually([&] { return std::abs(heard(sink) - 997) < 2; }, seconds(60));
  }
  std::vector<std::string> failures() {
    const std::lock_guard lock(mutex_);
    return failures_;
  }

  quorl::test::SoundServer server_;
  std::uint64_t frame_ = 0;
  std::atomic<std::uint64_t> played_ = 0;
  std::atomic<std::int64_t> delay_ = -1;
  std::atomic<int> openings_ = 0;
  std::atomic<bool> isOver_ = false;
  std::mutex mutex_;
  std::vector<std::string> failures_;
  PulseOutput output_;
};

TEST_F(PulseOutputTest, playsATone) {
  server_.start();
  open();
  EXPECT_TRUE(isHeard("first"));
  EXPECT_EQ(openings_, 1);
  EXPECT_TRUE(failures().empty());
  EXPECT_GE(delay_, 0);
  output_.close();
  EXPECT_TRUE(eventually([&] { return server_.playbacks() == 0; }, seconds(30)));
}

TEST_F(PulseOutputTest, goesOnInTheNewDefaultWhenItsOutputEnds) {
  server_.start();
  server_.addOutput("second");
  open();
  ASSERT_TRUE(isHeard("first"));
  server_.removeOutput("first");
  const auto begin = Clock::now();
  EXPECT_TRUE(isHeard("second"));
  RecordProperty("millisecondsToMove",
                 static_cast<int>(std::chrono::duration<double, std::milli>(Clock::now() - begin).count()));
}

TEST_F(PulseOutputTest, playsAgainAfterTheServerEnded) {
  server_.start();
  open();
  ASSERT_TRUE(isHeard("first"));
  server_.kill();
  ASSERT_TRUE(eventually([&] { return !failures().empty(); }, seconds(30)));
  server_.start();
  EXPECT_TRUE(isHeard("first"));
  EXPECT_EQ(failures().size(), 1U) << "one notice for all attempts";
  EXPECT_EQ(openings_, 2);
}

TEST_F(PulseOutputTest, waitsForAServer) {
  open();
  ASSERT_TRUE(eventually([&] { return !failures().empty(); }, seconds(30)));
  EXPECT_TRUE(failures()[0].starts_with("this machine cannot play sound: ")) << failures()[0];
  server_.start();
  EXPECT_TRUE(isHeard("first"));
}

TEST_F(PulseOutputTest, asksForNothingDuringAPause) {
  server_.start();
  open();
  ASSERT_TRUE(isHeard("first"));
  isOver_ = true;
  const auto rests = [&] {
    const auto before = played_.load();
    return heard("first") == 0 && played_ == before;
  };
  EXPECT_TRUE(eventually(rests, seconds(60)));
  isOver_ = false;
  output_.wake();
  EXPECT_TRUE(isHeard("first"));
}

}  // namespace
}  // namespace quorl::viewer
