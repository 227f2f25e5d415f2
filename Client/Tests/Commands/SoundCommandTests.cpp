// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/eventfd.h>
#include <unistd.h>

#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "../Support/CommandRun.h"
#include "../Support/FakeHost.h"

namespace quorl::client {
namespace {

using test::CommandRun;
using test::FakeHost;
using test::HostBehaviour;
using test::playedByTool;
using test::SampleSound;
using test::SampleVideo;

const SampleSound& tone() {
  static const SampleSound sound = SampleSound::tone(997, 20);
  return sound;
}

class SoundCommandTest : public testing::Test {
 protected:
  void begin(HostBehaviour behaviour) {
    host_ = std::make_unique<FakeHost>(std::move(behaviour));
    run_.addHost(host_->pairedHost());
  }
  std::string file(const char* name) const { return (run_.folder() / name).string(); }
  static std::string codecsOf(const std::string& path) {
    return test::outputOfTool(
        fmt::format("ffprobe -v error -show_entries stream=codec_name -of csv=p=0 '{}'", path));
  }

  std::unique_ptr<FakeHost> host_;
  CommandRun run_;
};

TEST_F(SoundCommandTest, savesWhatItHearsDecoded) {
  begin({.sound = &tone()});
  const auto result = run_({"listen", "--output", file("a.wav"), "--seconds", "2"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_EQ(codecsOf(file("a.wav")), "pcm_s16le\n");
  const auto sound = playedByTool(file("a.wav"));
  EXPECT_NEAR(sound.seconds(), 2, 0.3);
  EXPECT_NEAR(sound.pitch(0.3, 1.5), 997, 1);
  EXPECT_LT(sound.longestSilence(), 0.05);
  EXPECT_FALSE(std::filesystem::exists(file("a.wav.part")));
  const auto controls = host_->messagesOf<message::AudioControl>();
  ASSERT_EQ(controls.size(), 2U);
  EXPECT_TRUE(controls[0].enabled);
  EXPECT_FALSE(controls[1].enabled);
}

TEST_F(SoundCommandTest, savesWhatItHearsAsReceived) {
  begin({.sound = &tone()});
  const auto result = run_({"listen", host_->address(), "--output", file("a.m4a"), "--seconds", "2"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_EQ(codecsOf(file("a.m4a")), "aac\n");
  const auto sound = playedByTool(file("a.m4a"));
  EXPECT_NEAR(sound.seconds(), 2, 0.3);
  EXPECT_NEAR(sound.pitch(0.3, 1.5), 997, 1);
}

TEST_F(SoundCommandTest, savesAPauseOfTheHostAsSilence) {
  begin({.sound = &tone(), .pausesAfterPackets = 60, .pause = std::chrono::milliseconds(1'500)});
  for (const char* name : {"a.wav", "a.m4a"}) {
    const auto result = run_({"listen", "--output", file(name), "--seconds", "5"});
    ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
    const auto sound = playedByTool(file(name));
    EXPECT_NEAR(sound.seconds(), 5, 0.4) << name;
    EXPECT_NEAR(sound.longestSilence(), 1.5, 0.2) << name;
    EXPECT_NEAR(sound.pitch(0.2, 0.9), 997, 2) << name;
  }
}

TEST_F(SoundCommandTest, leavesACompleteFileWhenInterrupted) {
  begin({.sound = &tone()});
  const Descriptor interruption(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  run_.interruptDescriptor = interruption.get();
  test::CommandResult result;
  std::thread person([&] { result = run_({"listen", "--output", file("a.wav")}); });
  EXPECT_TRUE(host_->waitUntil([](const FakeHost& host) { return host.sentSoundPackets() > 40; }));
  const std::uint64_t one = 1;
  ASSERT_EQ(::write(interruption.get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
  person.join();
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_FALSE(std::filesystem::exists(file("a.wav.part")));
  EXPECT_EQ(codecsOf(file("a.wav")), "pcm_s16le\n");
}

TEST_F(SoundCommandTest, reportsThatNoSoundCame) {
  begin({});
  const auto result = run_({"listen", "--output", file("a.wav"), "--timeout", "0.3"});
  EXPECT_EQ(result.code, ExitCode::timedOut);
  EXPECT_NE(result.notes.find("no sound came"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(file("a.wav")));
}

TEST_F(SoundCommandTest, checksItsArguments) {
  begin({.sound = &tone()});
  EXPECT_EQ(run_({"listen", "--output", file("a.mp3")}).code, ExitCode::usage);
  EXPECT_NE(run_({"listen", "--output", "a"}).notes.find("does not end in .wav or .m4a"), std::string::npos);
  EXPECT_EQ(run_({"listen", "--seconds", "0"}).code, ExitCode::usage);
  EXPECT_EQ(run_({"listen", "--seconds", "nan"}).code, ExitCode::usage);
  EXPECT_EQ(run_({"listen", "one", "two"}).code, ExitCode::usage);
  EXPECT_EQ(run_({"record", file("a.mp4"), "--no-sound=1"}).code, ExitCode::usage);
  EXPECT_EQ(host_->connections(), 0);
}

TEST_F(SoundCommandTest, reportsAPathThatCannotBeWritten) {
  begin({.sound = &tone()});
  for (const char* name : {"absent/a.wav", "absent/a.m4a"}) {
    const auto result = run_({"listen", "--output", file(name), "--seconds", "1"});
    EXPECT_EQ(result.code, ExitCode::failure);
    EXPECT_NE(result.notes.find("cannot be written"), std::string::npos) << result.notes;
  }
}

TEST_F(SoundCommandTest, reportsAHostThatEndsAndKeepsTheFile) {
  begin({.video = &SampleVideo::shortClip(), .sound = &tone(), .closesAfterPictures = 60});
  const auto result = run_({"record", file("a.mp4"), "--seconds", "60"});
  EXPECT_EQ(result.code, ExitCode::failure);
  EXPECT_NE(result.notes.find("complete up to there"), std::string::npos);
  EXPECT_EQ(codecsOf(file("a.mp4")), "h264\naac\n");
}

TEST_F(SoundCommandTest, recordsSoundBesideThePictures) {
  begin({.video = &SampleVideo::shortClip(), .sound = &tone()});
  const auto result = run_({"record", file("a.mp4"), "--seconds", "3"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_NE(result.notes.find("with sound"), std::string::npos);
  EXPECT_EQ(codecsOf(file("a.mp4")), "h264\naac\n");
  const auto sound = playedByTool(file("a.mp4"));
  EXPECT_NEAR(sound.seconds(), 3, 0.4);
  EXPECT_NEAR(sound.pitch(0.5, 2.5), 997, 1);
  test::outputOfTool(fmt::format("ffmpeg -v error -xerror -nostdin -i '{}' -f null -", file("a.mp4")));
}

TEST_F(SoundCommandTest, recordsPicturesAloneOnRequest) {
  begin({.video = &SampleVideo::shortClip(), .sound = &tone()});
  const auto result = run_({"record", file("a.mp4"), "--seconds", "1.5", "--no-sound"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_EQ(codecsOf(file("a.mp4")), "h264\n");
  EXPECT_TRUE(host_->messagesOf<message::AudioControl>().empty());
}

TEST_F(SoundCommandTest, recordsAHostWithoutSound) {
  begin({.video = &SampleVideo::shortClip()});
  const auto result = run_({"record", file("a.mp4"), "--seconds", "1.5"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_NE(result.notes.find("no sound"), std::string::npos);
  EXPECT_EQ(codecsOf(file("a.mp4")), "h264\n");
}

TEST_F(SoundCommandTest, recordsAShortTimeWithSound) {
  begin({.video = &SampleVideo::shortClip(), .sound = &tone()});
  ASSERT_EQ(run_({"record", file("a.mp4"), "--seconds", "0.4"}).code, ExitCode::ok);
  EXPECT_EQ(codecsOf(file("a.mp4")), "h264\naac\n");
}

}  // namespace
}  // namespace quorl::client
