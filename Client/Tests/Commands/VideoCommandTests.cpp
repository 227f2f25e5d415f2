// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/eventfd.h>

#include <cstdlib>
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
using test::SampleVideo;

class VideoCommandTest : public testing::Test {
 protected:
  void begin(HostBehaviour behaviour) {
    host_ = std::make_unique<FakeHost>(std::move(behaviour));
    run_.addHost(host_->pairedHost());
  }
  std::string file(const char* name) const { return (run_.folder() / name).string(); }
  static double durationOf(const std::string& path) {
    return std::stod(test::outputOfTool(
        fmt::format("ffprobe -v error -show_entries format=duration -of csv=p=0 '{}'", path)));
  }
  static int packetsOf(const std::string& path) {
    return std::stoi(test::outputOfTool(fmt::format(
        "ffprobe -v error -count_packets -show_entries stream=nb_read_packets -of csv=p=0 '{}'", path)));
  }

  std::unique_ptr<FakeHost> host_;
  CommandRun run_;
};

TEST_F(VideoCommandTest, savesTheFirstPicture) {
  begin({.video = &SampleVideo::shortClip()});
  const auto result = run_({"shot", file("a.png")});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_NE(result.notes.find("320x240 pixels"), std::string::npos);
  const auto pixels = test::decodedByTool(file("a.png"));
  EXPECT_EQ(pixels.size(), 320U * 240 * 3);
  EXPECT_EQ(host_->messagesOf<message::StopStream>().size(), 1U);
  const auto request = host_->messagesOf<message::StartStream>().at(0)._0;
  EXPECT_EQ(request.target, StreamTarget(streamTarget::Unified{}));
  EXPECT_EQ(request.config.codec, VideoCodec::h264);
}

TEST_F(VideoCommandTest, savesALaterPictureWithSettle) {
  begin({.video = &SampleVideo::shortClip()});
  ASSERT_EQ(run_({"shot", file("first.png")}).code, ExitCode::ok);
  ASSERT_EQ(run_({"shot", file("later.png"), "--settle", "0.15", "--udp"}).code, ExitCode::ok);
  EXPECT_NE(test::decodedByTool(file("first.png")), test::decodedByTool(file("later.png")));
}

TEST_F(VideoCommandTest, reportsThatNoPictureCame) {
  begin({});
  const auto result = run_({"shot", file("a.png"), "--timeout", "0.3"});
  EXPECT_EQ(result.code, ExitCode::timedOut);
  EXPECT_FALSE(std::filesystem::exists(file("a.png")));
  EXPECT_NE(run_({"shot", file("a.png"), "--timeout", "0.3", "--udp"}).notes.find("firewall"),
            std::string::npos);
}

TEST_F(VideoCommandTest, reportsWhyTheHostCannotShowIt) {
  begin({.streamError = WireError{"stream.content", "stream 1: no shareable content"}});
  const auto result = run_({"shot", file("a.png")});
  EXPECT_EQ(result.code, ExitCode::failure);
  EXPECT_NE(result.notes.find("no shareable content"), std::string::npos);
}

TEST_F(VideoCommandTest, recordsForTheTimeAskedFor) {
  begin({.video = &SampleVideo::shortClip()});
  const auto result = run_({"record", file("a.mp4"), "--seconds", "1"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_NEAR(durationOf(file("a.mp4")), 1.0, 0.3);
  EXPECT_GT(packetsOf(file("a.mp4")), 20);
  // Decodes from the first picture to the last.
  test::outputOfTool(fmt::format("ffmpeg -v error -xerror -nostdin -i '{}' -f null -", file("a.mp4")));
}

TEST_F(VideoCommandTest, leavesACompleteFileWhenInterrupted) {
  begin({.video = &SampleVideo::shortClip()});
  const Descriptor interruption(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  run_.interruptDescriptor = interruption.get();
  test::CommandResult result;
  std::thread person([&] { result = run_({"record", file("a.mp4"), "--seconds", "60"}); });
  ASSERT_TRUE(host_->waitUntil(
      [](const FakeHost& host) { return host.messagesOf<message::StartStream>().size() == 1; }));
  const auto part = file("a.mp4.part");
  EXPECT_TRUE(host_->waitUntilSent(20));
  const std::uint64_t one = 1;
  ASSERT_EQ(::write(interruption.get(), &one, sizeof one), static_cast<ssize_t>(sizeof one));
  person.join();
  EXPECT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_FALSE(std::filesystem::exists(part));
  EXPECT_GT(packetsOf(file("a.mp4")), 5);
}

TEST_F(VideoCommandTest, leavesACompleteFileWhenTheHostGoes) {
  begin({.video = &SampleVideo::shortClip(), .closesAfterPictures = 20});
  const auto result = run_({"record", file("a.mp4"), "--seconds", "60"});
  EXPECT_EQ(result.code, ExitCode::failure);
  EXPECT_NE(result.notes.find("complete up to there"), std::string::npos);
  EXPECT_EQ(packetsOf(file("a.mp4")), 20);
}

TEST_F(VideoCommandTest, endsARecordingWhenTheFormatChanges) {
  static const auto other = SampleVideo::encode(VideoCodec::h264, "testsrc2=size=160x120:rate=100", 1);
  begin({.video = &SampleVideo::shortClip(), .otherConfig = other.config});
  const auto result = run_({"record", file("a.mp4"), "--seconds", "60"});
  EXPECT_EQ(result.code, ExitCode::failure);
  EXPECT_NE(result.notes.find("format changed"), std::string::npos);
  EXPECT_EQ(packetsOf(file("a.mp4")), 30);
}

TEST_F(VideoCommandTest, recordsDatagramsToo) {
  begin({.video = &SampleVideo::shortClip(), .losesDatagram = [](std::uint32_t frameID, std::uint16_t index) {
           return frameID == 10 && index == 0;
         }});
  ASSERT_EQ(run_({"record", file("a.mp4"), "--seconds", "0.8", "--udp"}).code, ExitCode::ok);
  EXPECT_GE(host_->keyframeRequests(), 1U);
  test::outputOfTool(
      fmt::format("ffmpeg -v error -xerror -err_detect explode -nostdin -i '{}' -f null -", file("a.mp4")));
}

TEST_F(VideoCommandTest, measuresAStream) {
  begin({.video = &SampleVideo::shortClip()});
  const auto result = run_({"stats", "--seconds", "1.3", "--json"});
  ASSERT_EQ(result.code, ExitCode::ok) << result.notes;
  EXPECT_EQ(std::ranges::count(result.out, '\n'), 2);
  const auto total = result.out.substr(result.out.find('\n') + 1);
  EXPECT_TRUE(total.starts_with("{\"isTotal\":true")) << total;
  for (const auto* key : {"\"framesPerSecond\":", "\"decodeMilliseconds\":", "\"jitterMilliseconds\":",
                          "\"roundTripMilliseconds\":", "\"lostFrames\":0"})
    EXPECT_NE(total.find(key), std::string::npos) << key;
}

TEST_F(VideoCommandTest, reportsAStillScreenAsAnError) {
  begin({});
  const auto result = run_({"stats", "--seconds", "0.3"});
  EXPECT_EQ(result.code, ExitCode::timedOut);
}

}  // namespace
}  // namespace quorl::client
