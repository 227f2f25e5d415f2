// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sound/PulseVolume.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SoundServer.h"

namespace quorl::test {
namespace {

class PulseVolumeTest : public testing::Test {
 protected:
  SoundServer server;
  PulseVolume volume{std::chrono::seconds(30)};
};

TEST_F(PulseVolumeTest, setsTheVolumeOfTheDefaultOutput) {
  server.start();
  server.addOutput("second");
  for (const int percent : {44, 100, 1, 0, 73}) {
    const auto result = volume.setVolume(percent);
    ASSERT_TRUE(result.has_value()) << result.error().reason;
    EXPECT_EQ(server.volume("first"), std::to_string(percent) + "%");
  }
  EXPECT_EQ(server.volume("second"), "100%");
  server.setDefaultOutput("second");
  ASSERT_TRUE(volume.setVolume(20).has_value());
  EXPECT_EQ(server.volume("second"), "20%");
  EXPECT_EQ(server.volume("first"), "73%");
}

TEST_F(PulseVolumeTest, endsMutingUnlessTheVolumeIsZero) {
  server.start();
  server.mute();
  ASSERT_TRUE(volume.setVolume(0).has_value());
  EXPECT_TRUE(server.isMuted());
  ASSERT_TRUE(volume.setVolume(30).has_value());
  EXPECT_FALSE(server.isMuted());
}

TEST_F(PulseVolumeTest, keepsTheBalance) {
  server.start();
  server.setVolumes("80%", "40%");
  ASSERT_TRUE(volume.setVolume(50).has_value());
  EXPECT_THAT(server.volumes(), testing::AllOf(testing::HasSubstr(" 50%"), testing::HasSubstr(" 25%")));
}

TEST_F(PulseVolumeTest, leavesNoConnectionBehind) {
  server.start();
  const auto before = server.clients();
  ASSERT_TRUE(volume.setVolume(10).has_value());
  EXPECT_EQ(server.clients(), before);
}

TEST_F(PulseVolumeTest, failsWithoutAServer) {
  const auto result = volume.setVolume(10);
  ASSERT_FALSE(result.has_value());
  EXPECT_EQ(result.error(), (SystemFailure{"sound server", "Connection refused"}));
}

TEST_F(PulseVolumeTest, givesUpOnAServerThatHangs) {
  server.start();
  server.pause();
  const auto result = PulseVolume(std::chrono::milliseconds(200)).setVolume(10);
  server.resume();
  ASSERT_FALSE(result.has_value());
  EXPECT_EQ(result.error().reason, "the sound server does not answer");
}

}  // namespace
}  // namespace quorl::test
