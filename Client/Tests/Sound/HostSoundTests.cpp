// SPDX-License-Identifier: GPL-3.0-or-later
// What a machine plays, heard by a real client of a real host.
#include <filesystem>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <Linux/Sound/SoundServer.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "../Agents/AgentWorld.h"
#include "../Support/SampleSound.h"
#include "../Support/SampleVideo.h"

namespace quorl::client::test {
namespace {

using quorl::test::eventually;

class HostSoundTest : public testing::Test {
 protected:
  HostSoundTest() : world_({"DISPLAY=" + screen_.display(), server_.environment()}) {}

  std::string file(const char* name) const { return (world_.folder() / name).string(); }
  /// Runs a command of the client on another thread until its end.
  std::thread listening(ProgramResult& result, const std::string& path, const char* seconds) {
    return std::thread([this, &result, path, seconds] {
      result = world_.run({"listen", "--output", path, "--seconds", seconds, "--timeout", "50"});
    });
  }
  bool waitForRecording() {
    return eventually([this] { return !server_.recordedDevices().empty(); }, std::chrono::seconds(30));
  }

  quorl::test::XServer screen_;
  quorl::test::SoundServer server_;
  AgentWorld world_;
};

TEST_F(HostSoundTest, aToneIsHeardAtItsPitch) {
  server_.start();
  server_.playTone(997);
  world_.startHost();
  const auto result = world_.run({"listen", "--output", file("a.wav"), "--seconds", "3"});
  ASSERT_EQ(result.status, 0) << result.output;
  const auto sound = playedByTool(file("a.wav"));
  EXPECT_NEAR(sound.pitch(0.5, 2.5), 997, 1);
  EXPECT_TRUE(eventually([this] { return server_.recordedDevices().empty(); }))
      << "a capture without a subscriber";
}

TEST_F(HostSoundTest, whatAProgramPlaysIsHeard) {
  server_.start();
  outputOfTool(
      fmt::format("ffmpeg -v error -nostdin -f lavfi -i 'sine=frequency=997:sample_rate=44100:duration=60' "
                  "-af volume=4 '{}'",
                  file("tone.wav")));
  world_.startHost();
  quorl::test::ChildProgram player({"paplay", file("tone.wav")}, {server_.environment(), "DISPLAY"});
  const auto result = world_.run({"listen", "--output", file("a.m4a"), "--seconds", "3"});
  ASSERT_EQ(result.status, 0) << result.output;
  EXPECT_NEAR(playedByTool(file("a.m4a")).pitch(1, 2.5), 997, 1);
}

TEST_F(HostSoundTest, anotherDefaultOutputIsHeard) {
  server_.start();
  server_.addOutput("second");
  server_.playTone(997, "second");
  world_.startHost();
  ProgramResult result;
  std::thread client = listening(result, file("a.wav"), "6");
  EXPECT_TRUE(waitForRecording());
  server_.setDefaultOutput("second");
  client.join();
  ASSERT_EQ(result.status, 0) << result.output;
  EXPECT_NEAR(playedByTool(file("a.wav")).pitch(4, 5.5), 997, 1);
}

TEST_F(HostSoundTest, aServerThatWasKilledAndStartedAgainIsHeard) {
  server_.start();
  world_.startHost();
  ProgramResult result;
  std::thread client = listening(result, file("a.wav"), "12");
  EXPECT_TRUE(waitForRecording());
  server_.kill();
  server_.start();
  server_.playTone(997);
  client.join();
  ASSERT_EQ(result.status, 0) << result.output;
  const auto sound = playedByTool(file("a.wav"));
  EXPECT_NEAR(sound.seconds(), 12, 1);
  EXPECT_NEAR(sound.pitch(10, 11.5), 997, 1);
}

TEST_F(HostSoundTest, aServerThatStartsAfterTheSubscriptionIsHeard) {
  world_.startHost();
  ProgramResult result;
  std::thread client = listening(result, file("a.wav"), "3");
  EXPECT_TRUE(world_.host().program().waitForOutput("client authenticated"));
  server_.start();
  server_.playTone(997);
  client.join();
  ASSERT_EQ(result.status, 0) << result.output;
  EXPECT_NEAR(playedByTool(file("a.wav")).pitch(1.5, 2.8), 997, 1);
}

TEST_F(HostSoundTest, theClientPlaysWhatItHears) {
  server_.start();
  server_.playTone(997);
  world_.startHost();
  // The client plays on another server.
  quorl::test::SoundServer speakers;
  speakers.start();
  auto environment = world_.clientEnvironment("ada");
  environment.push_back(speakers.environment());
  quorl::test::ChildProgram client({clientProgram(), "listen", "--seconds", "30"}, environment);
  EXPECT_TRUE(eventually([&] { return speakers.playbacks() == 1; }, std::chrono::seconds(30)));
  outputOfTool(fmt::format("env {} ffmpeg -v error -nostdin -f pulse -i first.monitor -t 2 '{}'",
                           speakers.environment(), file("speakers.wav")));
  EXPECT_NEAR(playedByTool(file("speakers.wav")).pitch(0.5, 1.8), 997, 3);
  client.signal(SIGINT);
  EXPECT_EQ(client.waitForExit(), 0) << client.output();
}

TEST_F(HostSoundTest, theClientReportsThatItCannotPlay) {
  server_.start();
  world_.startHost();
  auto environment = world_.clientEnvironment("ada");
  environment.push_back("PULSE_SERVER=unix:/nonexistent/native");
  quorl::test::ChildProgram client({clientProgram(), "listen"}, environment);
  EXPECT_EQ(client.waitForExit(), 1);
  EXPECT_NE(client.output().find("cannot play sound"), std::string::npos) << client.output();
}

}  // namespace
}  // namespace quorl::client::test
