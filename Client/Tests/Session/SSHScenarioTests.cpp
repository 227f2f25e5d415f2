// SPDX-License-Identifier: GPL-3.0-or-later
// The real client, ssh, its server and the real host.
#include <csignal>
#include <memory>

#include <Linux/System/ChildProgram.h>
#include <Posix/LoopbackPeer.h>
#include <Support/Eventually.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../Agents/AgentWorld.h"
#include "SSHServer.h"

namespace quorl::client::test {
namespace {

using quorl::test::ChildProgram;
using quorl::test::eventually;
using testing::HasSubstr;

class SSHScenario : public testing::Test {
 protected:
  void SetUp() override {
    if (!SSHServer::isInstalled()) GTEST_SKIP() << "needs the package openssh-server";
    world_.startHost();
    if (HasFatalFailure()) GTEST_SKIP() << "no host";
    server_ = std::make_unique<SSHServer>(world_.folder());
  }
  std::string address() const { return server_->addressFor(world_.hostPort()); }
  ProgramResult pair(const std::string& address) const {
    return world_.run({"pair", address, "--pin", "123456"}, "eve");
  }
  std::vector<pid_t> tunnels() const { return server_->tunnels(); }

  AgentWorld world_;
  std::unique_ptr<SSHServer> server_;
};

TEST_F(SSHScenario, pairsInformsAndAttachesThroughTheServer) {
  const auto paired = pair(address());
  ASSERT_EQ(paired.status, 0) << paired.output << server_->output();
  EXPECT_THAT(world_.run({"hosts"}, "eve").output, HasSubstr(address()));
  const auto info = world_.run({"info", address(), "--json"}, "eve");
  EXPECT_EQ(info.status, 0) << info.output;
  EXPECT_THAT(info.output, HasSubstr("\"displays\""));

  const auto id = world_.spawn({"--name", "agent", "--", "echo first words; exec cat"});
  const auto terminal = world_.onTerminal({"attach", id, "--host", address()}, "eve");
  ASSERT_TRUE(terminal->shows("first words")) << terminal->screen();
  EXPECT_EQ(tunnels().size(), 1U);
  terminal->type("abc");
  EXPECT_TRUE(terminal->shows("abc"));
  terminal->type("\x1d");
  EXPECT_EQ(terminal->waitForExit(), 0);
  EXPECT_TRUE(eventually([&] { return tunnels().empty(); }));
}

TEST_F(SSHScenario, attachesAgainWhenTheTunnelBreaks) {
  ASSERT_EQ(pair(address()).status, 0);
  const auto id = world_.spawn({"--name", "agent", "--", "echo first words; exec cat"});
  const auto terminal = world_.onTerminal({"attach", id, "--host", address()}, "eve");
  ASSERT_TRUE(terminal->shows("first words")) << terminal->screen();
  const auto tunnel = tunnels();
  ASSERT_EQ(tunnel.size(), 1U);
  ::kill(tunnel[0], SIGKILL);
  ASSERT_TRUE(terminal->shows("trying again")) << terminal->screen();
  ASSERT_TRUE(eventually([&] { return tunnels().size() == 1 && tunnels()[0] != tunnel[0]; }));
  terminal->type("more\r");
  EXPECT_TRUE(terminal->shows("more")) << terminal->screen();
  terminal->signal(SIGINT);
  EXPECT_EQ(terminal->waitForExit(), 130);
  EXPECT_TRUE(eventually([&] { return tunnels().empty(); }));
}

TEST_F(SSHScenario, saysThatTheKeyIsRefused) {
  server_->useKey("other-key");
  const auto result = pair(address());
  EXPECT_EQ(result.status, 4) << result.output;
  EXPECT_THAT(result.output, HasSubstr("ssh cannot log in at 127.0.0.1"));
  EXPECT_THAT(result.output, HasSubstr("must work"));
}

TEST_F(SSHScenario, saysThatNoSSHServerAnswers) {
  const auto result = pair(SSHServer::addressFor(quorl::test::freePort(), world_.hostPort()));
  EXPECT_EQ(result.status, 3) << result.output;
  EXPECT_THAT(result.output, HasSubstr("no ssh server answers at 127.0.0.1"));
  EXPECT_THAT(result.output, HasSubstr("openssh-server"));
}

TEST_F(SSHScenario, saysThatNoHostListensOnTheServersComputer) {
  const auto closed = quorl::test::freePort();
  const auto result = pair(server_->addressFor(closed));
  EXPECT_EQ(result.status, 3) << result.output;
  EXPECT_THAT(result.output, HasSubstr(fmt::format("nothing listens on port {} of 127.0.0.1", closed)));
  EXPECT_THAT(result.output, HasSubstr("Start Quorl Host"));
}

TEST_F(SSHScenario, saysThatTheServersKeyIsAnother) {
  server_->trust("other-key");
  const auto result = pair(address());
  EXPECT_EQ(result.status, 4) << result.output;
  EXPECT_THAT(result.output, HasSubstr("does not trust the key"));
  EXPECT_THAT(result.output, HasSubstr("fingerprint"));
}

TEST_F(SSHScenario, endsTheTunnelWithAClientThatIsKilled) {
  ASSERT_EQ(pair(address()).status, 0);
  ChildProgram client({clientProgram(), "notify", "--no-desktop", "--host", address()},
                      world_.clientEnvironment("eve"));
  ASSERT_TRUE(client.waitForOutput("Watching", std::chrono::seconds(30))) << client.output();
  ASSERT_EQ(tunnels().size(), 1U);
  client.signal(SIGKILL);
  EXPECT_TRUE(eventually([&] { return tunnels().empty(); }));
}

}  // namespace
}  // namespace quorl::client::test
