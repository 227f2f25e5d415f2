// SPDX-License-Identifier: GPL-3.0-or-later
// The real client, ssh, its server and the real host.
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <Linux/System/ChildProgram.h>
#include <Posix/LoopbackPeer.h>
#include <Support/Eventually.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../Agents/AgentWorld.h"

namespace quorl::client::test {
namespace {

using quorl::test::ChildProgram;
using quorl::test::eventually;
using testing::HasSubstr;
namespace fs = std::filesystem;

constexpr auto server = "/usr/sbin/sshd";

class SSHScenario : public testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(server)) GTEST_SKIP() << "needs the package openssh-server";
    world_.startHost();
    if (HasFatalFailure()) GTEST_SKIP() << "no host";
    for (const char* key : {"server-key", "user-key", "other-key"})
      quorl::test::outputOf({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", path(key)});
    fs::copy_file(path("user-key.pub"), path("authorized"));
    world_.write("sshd_config",
                 fmt::format("Port {}\nListenAddress 127.0.0.1\nHostKey {}\nAuthorizedKeysFile {}\n"
                             "StrictModes no\nUsePAM no\nPidFile none\nPasswordAuthentication no\n"
                             "KbdInteractiveAuthentication no\n",
                             port_, path("server-key"), path("authorized")));
    useKey("user-key");
    world_.addProgram("ssh", fmt::format("#!/bin/sh\nexec /usr/bin/ssh -F {} \"$@\"\n", path("ssh_config")));
    oldPath_ = std::getenv("PATH");
    ::setenv("PATH", (path("bin") + ":" + oldPath_).c_str(), 1);
    // sshd needs it when it runs as root; a service manager makes it otherwise.
    if (::geteuid() == 0) ::mkdir("/run/sshd", 0755);
    startServer();
  }
  void TearDown() override {
    if (!oldPath_.empty()) ::setenv("PATH", oldPath_.c_str(), 1);
  }
  void startServer() {
    server_ = std::make_unique<ChildProgram>(
        std::vector<std::string>{server, "-D", "-e", "-f", path("sshd_config")}, std::vector<std::string>{});
    ASSERT_TRUE(server_->waitForOutput("Server listening", std::chrono::seconds(30))) << server_->output();
  }
  void useKey(const std::string& key) {
    world_.write(
        "ssh_config",
        fmt::format("IdentityFile {}\nIdentitiesOnly yes\nIdentityAgent none\nUserKnownHostsFile {}\n"
                    "GlobalKnownHostsFile none\nStrictHostKeyChecking accept-new\n",
                    path(key), path("known")));
  }
  std::string path(const std::string& name) const { return (world_.folder() / name).string(); }
  std::string addressFor(std::uint16_t sshPort, std::uint16_t hostPort) const {
    return fmt::format("ssh://{}@127.0.0.1:{}?port={}", ::getpwuid(::getuid())->pw_name, sshPort, hostPort);
  }
  std::string address() const { return addressFor(port_, world_.hostPort()); }
  ProgramResult pair(const std::string& address) const {
    return world_.run({"pair", address, "--pin", "123456"}, "eve");
  }
  // The processes of ssh that use this test's configuration.
  std::vector<pid_t> tunnels() const {
    std::vector<pid_t> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
      std::ifstream file(entry.path() / "cmdline", std::ios::binary);
      std::stringstream text;
      text << file.rdbuf();
      if (text.str().starts_with("/usr/bin/ssh") && text.str().contains(path("ssh_config")))
        found.push_back(std::stoi(entry.path().filename()));
    }
    return found;
  }

  AgentWorld world_;
  const std::uint16_t port_ = quorl::test::freePort();
  std::string oldPath_;
  std::unique_ptr<ChildProgram> server_;
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
  useKey("other-key");
  const auto result = pair(address());
  EXPECT_EQ(result.status, 4) << result.output;
  EXPECT_THAT(result.output, HasSubstr("ssh cannot log in at 127.0.0.1"));
  EXPECT_THAT(result.output, HasSubstr("must work"));
}

TEST_F(SSHScenario, saysThatNoSSHServerAnswers) {
  const auto result = pair(addressFor(quorl::test::freePort(), world_.hostPort()));
  EXPECT_EQ(result.status, 3) << result.output;
  EXPECT_THAT(result.output, HasSubstr("no ssh server answers at 127.0.0.1"));
  EXPECT_THAT(result.output, HasSubstr("openssh-server"));
}

TEST_F(SSHScenario, saysThatNoHostListensOnTheServersComputer) {
  const auto closed = quorl::test::freePort();
  const auto result = pair(addressFor(port_, closed));
  EXPECT_EQ(result.status, 3) << result.output;
  EXPECT_THAT(result.output, HasSubstr(fmt::format("nothing listens on port {} of 127.0.0.1", closed)));
  EXPECT_THAT(result.output, HasSubstr("Start Quorl Host"));
}

TEST_F(SSHScenario, saysThatTheServersKeyIsAnother) {
  std::ifstream key(path("other-key.pub"));
  std::string type;
  std::string text;
  key >> type >> text;
  world_.write("known", fmt::format("[127.0.0.1]:{} {} {}\n", port_, type, text));
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
