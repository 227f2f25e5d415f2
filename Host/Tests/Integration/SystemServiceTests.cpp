// SPDX-License-Identifier: GPL-3.0-or-later
// System commands and user requests in the real program, with a login manager and a sound server of the test.
#include <csignal>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <Linux/Sound/SoundServer.h>
#include <Linux/System/PrivateBus.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

namespace quorl::test {
namespace {

using std::chrono::seconds;
using testing::Contains;

class SystemServiceTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(bus.isRunning());
    ASSERT_TRUE(logind.isRunning());
    sound.start();
    host.emplace(HostProcess::Settings{.port = port,
                                       .home = home.path(),
                                       .options = {"--pin", "314159"},
                                       .environment = {"DISPLAY=" + display.display(), sound.environment(),
                                                       "DBUS_SYSTEM_BUS_ADDRESS=" + bus.address(),
                                                       "DBUS_SESSION_BUS_ADDRESS=" + bus.address()}});
    ASSERT_TRUE(host->listens()) << host->program().output();
    client.emplace(port);
    ASSERT_TRUE(client->pair("314159"));
  }
  void command(SystemCommand command) { client->send(message::SystemCommand{std::move(command)}); }
  bool holdsInhibitors(std::size_t count) {
    return eventually([&] { return logind.inhibitors().size() == count; }, seconds(30));
  }

  PrivateBus bus;
  LogindMock logind;
  SoundServer sound;
  XServer display;
  TemporaryFolder home;
  const std::uint16_t port = freePort();
  std::optional<HostProcess> host;
  std::optional<RawClient> client;
};

TEST_F(SystemServiceTest, keepsTheMachineAwakeUntilTheHostStops) {
  command(systemCommand::Caffeinate{true});
  ASSERT_TRUE(holdsInhibitors(1));
  EXPECT_EQ(logind.inhibitors()[0].why, "Quorl session active");
  client.reset();
  EXPECT_EQ(logind.inhibitors().size(), 1U) << "the end of a client changes nothing";
  host->program().signal(SIGTERM);
  EXPECT_TRUE(holdsInhibitors(0));
  EXPECT_EQ(host->program().waitForExit(), 0);
}

TEST_F(SystemServiceTest, releasesTheMachineWhenTheHostIsKilled) {
  command(systemCommand::Caffeinate{true});
  ASSERT_TRUE(holdsInhibitors(1));
  host->program().signal(SIGKILL);
  EXPECT_TRUE(holdsInhibitors(0));
}

TEST_F(SystemServiceTest, setsTheVolume) {
  command(systemCommand::SetVolume{0.444});
  EXPECT_TRUE(eventually([&] { return sound.volume() == "44%"; }, seconds(30))) << sound.volumes();
  command(systemCommand::SetVolume{1.7});
  EXPECT_TRUE(eventually([&] { return sound.volume() == "100%"; }, seconds(30))) << sound.volumes();
}

TEST_F(SystemServiceTest, switchesAndListsUsers) {
  logind.addSession("c7", "seat0", 54321, "somebody");
  client->send(message::SwitchUser{{54321, SecretText("secret")}});
  const auto switched = client->next<message::UserSwitchResult>();
  ASSERT_TRUE(switched);
  EXPECT_EQ(switched->_0.status, UserSwitchStatus::switched);
  EXPECT_TRUE(logind.program().waitForOutput("ActivateSession \"c7\"", seconds(30)));
  const auto second = client->next<message::UserSwitchResult>();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->_0.status, UserSwitchStatus::notPermitted)
      << "input of this host does not reach another user's screen";
  client->send(message::RequestUserList{});
  EXPECT_TRUE(client->next<message::UserList>());
}

}  // namespace
}  // namespace quorl::test
