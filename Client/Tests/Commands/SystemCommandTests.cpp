// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../Support/CommandRun.h"
#include "../Support/FakeHost.h"

namespace quorl::client {
namespace {

using test::CommandRun;
using test::FakeHost;
using testing::ElementsAre;
using testing::IsEmpty;

class SystemCommandTest : public testing::Test {
 protected:
  SystemCommandTest() { run_.addHost(host_.pairedHost()); }

  std::vector<SystemCommand> sent(const std::vector<std::string>& words, ExitCode expected = ExitCode::ok) {
    const auto result = run_(words);
    EXPECT_EQ(result.code, expected) << result.notes;
    std::vector<SystemCommand> commands;
    for (const auto& message : host_.messagesOf<message::SystemCommand>()) commands.push_back(message._0);
    return commands;
  }

  FakeHost host_{{}};
  CommandRun run_;
};

TEST_F(SystemCommandTest, keepsAHostAwake) {
  EXPECT_THAT(sent({"caffeinate", "on"}), ElementsAre(SystemCommand(systemCommand::Caffeinate{true})));
  EXPECT_THAT(sent({"caffeinate", "off"}), ElementsAre(SystemCommand(systemCommand::Caffeinate{true}),
                                                       SystemCommand(systemCommand::Caffeinate{false})));
}

TEST_F(SystemCommandTest, setsTheVolumeInPercent) {
  EXPECT_THAT(sent({"volume", "44"}), ElementsAre(SystemCommand(systemCommand::SetVolume{0.44})));
}

TEST_F(SystemCommandTest, turnsDisplaysOffAndOnAndLocks) {
  sent({"displays", "sleep"});
  sent({"displays", "wake"});
  EXPECT_THAT(sent({"lock"}), ElementsAre(SystemCommand(systemCommand::SleepDisplays{}),
                                          SystemCommand(systemCommand::WakeDisplays{}),
                                          SystemCommand(systemCommand::LockScreen{})));
}

TEST_F(SystemCommandTest, sendsNothingThatIsNoCommand) {
  for (const auto& words : std::vector<std::vector<std::string>>{{"caffeinate"},
                                                                 {"caffeinate", "maybe"},
                                                                 {"volume", "101"},
                                                                 {"volume", "-1"},
                                                                 {"volume", "loud"},
                                                                 {"displays", "dance"},
                                                                 {"lock", "now"}})
    EXPECT_THAT(sent(words, ExitCode::usage), IsEmpty());
}

}  // namespace
}  // namespace quorl::client
