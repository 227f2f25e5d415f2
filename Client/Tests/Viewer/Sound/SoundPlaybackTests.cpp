// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Sound/SoundPlayback.h>

#include <string>

#include <gtest/gtest.h>

#include "../../Support/SampleSound.h"

namespace quorl::viewer {
namespace {

using client::Clock;
using client::SoundPacket;
using client::test::SampleSound;
using std::chrono::milliseconds;

struct OutputLog {
  std::string calls;
  SoundOutput::Handlers handlers;
};

class FakeOutput : public SoundOutput {
 public:
  explicit FakeOutput(OutputLog& log) : log_(log) {}
  void open(SoundFormat format, Handlers handlers) override {
    log_.calls += "open " + std::to_string(format.rate) + "/" + std::to_string(format.channels) + " ";
    log_.handlers = std::move(handlers);
  }
  void close() override {
    log_.calls += "close ";
    log_.handlers = {};
  }
  void wake() override { ++wakes; }

  int wakes = 0;

 private:
  OutputLog& log_;
};

class SoundPlaybackTest : public testing::Test {
 protected:
  void play(const SampleSound& sound, std::size_t first, std::size_t end) {
    for (std::size_t index = first; index < end; ++index)
      playback_.take(SoundPacket{index * 1'024 * 1'000'000 / 48'000, sound.packets[index], Clock::now()});
  }

  OutputLog output_;
  std::string wanted_;
  std::vector<std::string> failures_;
  SoundPlayback playback_{
      std::make_unique<FakeOutput>(output_),
      {.wantSound = [this](bool isWanted) { wanted_ += isWanted ? "on " : "off "; },
       .failed = [this](const client::ClientError& error) { failures_.push_back(error.what); }}};
  const SampleSound sound_ = SampleSound::tone(997, 1);
};

TEST_F(SoundPlaybackTest, playsTheHostsSound) {
  playback_.start();
  playback_.take(sound_.config);
  play(sound_, 0, 10);
  EXPECT_EQ(output_.calls, "open 48000/2 ");
  std::vector<std::int16_t> samples(4'800);
  output_.handlers.source(samples, milliseconds(10));
  EXPECT_GT(*std::ranges::max_element(samples), 5'000);
  EXPECT_TRUE(playback_.report(Clock::now()));
}

TEST_F(SoundPlaybackTest, stopsAskingTheHostWhileMuted) {
  playback_.start();
  playback_.take(sound_.config);
  play(sound_, 0, 3);
  playback_.setMuted(true);
  EXPECT_EQ(wanted_, "on off ");
  EXPECT_EQ(output_.calls, "open 48000/2 close ");
  play(sound_, 3, 6);
  EXPECT_EQ(output_.calls, "open 48000/2 close ") << "a packet that was under way";
  playback_.setMuted(false);
  EXPECT_EQ(wanted_, "on off on ");
  playback_.take(sound_.config);
  play(sound_, 6, 9);
  EXPECT_EQ(output_.calls, "open 48000/2 close open 48000/2 ");
}

TEST_F(SoundPlaybackTest, asksForNothingWhenItIsMutedBeforeItStarts) {
  playback_.setMuted(true);
  playback_.start();
  EXPECT_EQ(wanted_, "off ");
  playback_.setMuted(false);
  EXPECT_EQ(wanted_, "off on ");
}

TEST_F(SoundPlaybackTest, isSubscribedAsWantedAfterAMuteDuringABreak) {
  playback_.start();
  playback_.stop();
  playback_.setMuted(true);
  EXPECT_EQ(wanted_, "on off ") << "the next connection does not subscribe";
  playback_.start();
  playback_.setMuted(false);
  EXPECT_EQ(wanted_, "on off on ");
}

TEST_F(SoundPlaybackTest, staysMutedAcrossAReconnection) {
  playback_.start();
  playback_.setMuted(true);
  playback_.stop();
  playback_.start();
  EXPECT_EQ(wanted_, "on off ");
}

TEST_F(SoundPlaybackTest, reportsAConfigurationThatCannotBeRead) {
  playback_.start();
  playback_.take(AudioConfig{.sampleRate = 48'000, .channels = 2, .magicCookie = {}});
  EXPECT_EQ(failures_, std::vector<std::string>{"the host's sound configuration cannot be read"});
  play(sound_, 0, 3);
  EXPECT_EQ(output_.calls, "");
}

TEST_F(SoundPlaybackTest, countsPacketsThatCannotBeDecoded) {
  playback_.start();
  playback_.take(sound_.config);
  play(sound_, 0, 2);
  for (int index = 0; index < 50; ++index) playback_.take(SoundPacket{0, Bytes(100, 0xFF), Clock::now()});
  EXPECT_GT(playback_.failedPackets(), 0U);
  play(sound_, 2, 4);
  EXPECT_TRUE(playback_.report(Clock::now()));
}

}  // namespace
}  // namespace quorl::viewer
