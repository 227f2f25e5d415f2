// SPDX-License-Identifier: GPL-3.0-or-later
// Two users' hosts on one machine, with a scripted login manager: the port follows the console.
#include <filesystem>

#include <gtest/gtest.h>
#include <unistd.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <Linux/System/PrivateBus.h>
#include <QuorlHostPosix/UserFolders.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

namespace fs = std::filesystem;

constexpr unsigned nobodyID = 65534;

class PortHandoffTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to run a host as another user";
    if (!hasProgram("setpriv")) GTEST_SKIP() << "needs setpriv";
    ASSERT_TRUE(bus.isRunning());
    mock.emplace();
    ASSERT_TRUE(mock->isRunning());
    mock->addSession("c1", "seat0", 0, "root");
    mock->addSession("c2", "seat0", nobodyID, "nobody");
    mock->activate("seat0", "c1");
    // The build folder may be closed to other users.
    fs::permissions(shared.path(), fs::perms(0755));
    fs::copy_file(hostProgram(), shared.path() / "quorl_host");
    ASSERT_EQ(::chown(nobodysHome.path().c_str(), nobodyID, nobodyID), 0);
  }

  HostProcess::Settings rootsHost() const {
    return {port, 0, rootsHome.path(), {"--pin", "111111"}, {"XDG_SESSION_ID=c1"}, {}, hostProgram()};
  }
  HostProcess::Settings nobodysHost() const {
    return {port,
            0,
            nobodysHome.path(),
            {"--pin", "222222"},
            {"XDG_SESSION_ID=c2"},
            {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"},
            (shared.path() / "quorl_host").string()};
  }
  bool becomesHostOf(const std::string& pin) const {
    return eventually([&] { return RawClient(port).pair(pin).has_value(); }, std::chrono::seconds(15));
  }

  const std::uint16_t port = freePort();
  PrivateBus bus;
  std::optional<LogindMock> mock;
  TemporaryFolder shared;
  TemporaryFolder rootsHome;
  TemporaryFolder nobodysHome;
};

TEST_F(PortHandoffTest, thePortFollowsTheConsoleThereAndBack) {
  HostProcess roots(rootsHost());
  HostProcess nobodys(nobodysHost());
  ASSERT_TRUE(becomesHostOf("111111")) << roots.program().output();
  RawClient client(port);
  ASSERT_TRUE(client.pair("111111"));
  RawClient stranger(port);  // remains in its handshake
  stranger.sendHello();
  ASSERT_TRUE(stranger.next<message::HelloAck>());

  mock->activate("seat0", "c2");
  EXPECT_TRUE(client.next<message::Bye>()) << "its user lost the console";
  EXPECT_TRUE(stranger.next<message::Bye>());
  ASSERT_TRUE(becomesHostOf("222222")) << nobodys.program().output();

  mock->activate("seat0", "c1");
  ASSERT_TRUE(becomesHostOf("111111"));
  EXPECT_TRUE(roots.program().isRunning());
  EXPECT_TRUE(nobodys.program().isRunning());
}

TEST_F(PortHandoffTest, noHostListensWhileAGreeterHoldsTheConsole) {
  HostProcess roots(rootsHost());
  HostProcess nobodys(nobodysHost());
  ASSERT_TRUE(becomesHostOf("111111"));
  mock->setSessionClass("c2", "greeter");
  mock->activate("seat0", "c2");
  EXPECT_TRUE(eventually([&] { return !HostProcess::isListening(port); }));
  mock->setSessionClass("c2", "user");
  mock->activate("seat0", "c1");
  EXPECT_TRUE(becomesHostOf("111111"));
}

}  // namespace
}  // namespace quorl::test
