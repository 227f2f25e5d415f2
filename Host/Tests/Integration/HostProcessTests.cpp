// SPDX-License-Identifier: GPL-3.0-or-later
// The real program, as a person starts it.
#include <csignal>
#include <fstream>
#include <set>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <Integration/HostProcess.h>
#include <Integration/RawClient.h>
#include <Support/Eventually.h>

namespace quorl::test {
namespace {

class HostProcessTest : public ::testing::Test {
 protected:
  HostProcess::Settings with(std::vector<std::string> options) const {
    HostProcess::Settings settings;
    settings.port = port;
    settings.home = home.path();
    settings.options = std::move(options);
    return settings;
  }
  std::filesystem::path trustFile() const { return home.path() / ".local/share/QuorlHost/trust.json"; }
  static ControlMessage spawning(const std::string& command) {
    return message::AgentCommand{agentCommand::Spawn{
        {.displayName = "agent", .command = command, .workingDirectory = "~", .env = {}}}};
  }
  static unsigned modeOf(const std::filesystem::path& path) {
    struct stat facts{};
    EXPECT_EQ(::stat(path.c_str(), &facts), 0) << path;
    return facts.st_mode & 07777U;
  }

  TemporaryFolder home;
  const std::uint16_t port = freePort();
};

TEST_F(HostProcessTest, pairsAClientByItsPINAndServesIt) {
  HostProcess host(with({"--pin", "314159"}));
  ASSERT_TRUE(host.listens()) << host.program().output();
  RawClient client(port);
  ASSERT_TRUE(client.pair("314159"));
  EXPECT_TRUE(client.echoes());
  EXPECT_NE(host.program().output().find("[quorl] pairing PIN: 314159\n"), std::string::npos);
  EXPECT_TRUE(host.program().waitForOutput("[quorl] paired + connected: Test Pad"));
}

TEST_F(HostProcessTest, showsItsPINOnATerminalWhenThereIsNoDesktop) {
  auto settings = with({"/dev/null"});  // script(1) takes a command, then the file for its copy
  settings.launcher = {"script", "-qfec"};
  HostProcess host(settings);
  ASSERT_TRUE(host.program().waitForOutput("quorl_client pair ", std::chrono::seconds(30)))
      << host.program().output();
  const std::string output = host.program().output();
  const auto at = output.find("PIN       ");
  ASSERT_NE(at, std::string::npos) << output;
  const std::string pin = output.substr(at + 10, 6);
  EXPECT_TRUE(RawClient(port).pair(pin)) << pin;
  EXPECT_TRUE(host.program().waitForOutput("the PIN is now ", std::chrono::seconds(30)));
}

TEST_F(HostProcessTest, keepsItsRandomPINFromFiles) {
  HostProcess host(with({}));
  ASSERT_TRUE(host.listens()) << host.program().output();
  RawClient client(port);
  ASSERT_FALSE(client.pair("not it"));
  EXPECT_EQ(host.program().output().find("PIN       "), std::string::npos) << host.program().output();
}

TEST_F(HostProcessTest, refusesAWrongPINAndStaysUp) {
  HostProcess host(with({"--pin", "314159"}));
  ASSERT_TRUE(host.listens());
  EXPECT_FALSE(RawClient(port).pair("271828"));
  EXPECT_TRUE(RawClient(port).pair("314159"));
}

TEST_F(HostProcessTest, keepsItsSecretsFromOtherUsers) {
  HostProcess host(with({"--pin", "1"}));
  ASSERT_TRUE(host.listens());
  RawClient client(port);
  ASSERT_TRUE(client.pair("1"));
  EXPECT_EQ(modeOf(trustFile()), 0600U);
  EXPECT_EQ(modeOf(trustFile().parent_path()), 0700U);
}

TEST_F(HostProcessTest, knowsAPairedClientAfterARestartWithoutAPIN) {
  std::optional<Bytes> token;
  {
    HostProcess host(with({"--pin", "314159"}));
    ASSERT_TRUE(host.listens());
    token = RawClient(port).pair("314159");
    ASSERT_TRUE(token);
    host.program().signal(SIGTERM);
    EXPECT_EQ(host.program().waitForExit(), 0);
  }
  HostProcess host(with({"--verbose"}));
  ASSERT_TRUE(host.listens());
  EXPECT_NE(host.program().output().find("pairing PIN: random — see the menu bar"), std::string::npos);
  RawClient client(port);
  EXPECT_TRUE(client.authenticate(*token));
  EXPECT_TRUE(client.echoes());
  EXPECT_FALSE(RawClient(port).pair("314159")) << "the old PIN was not kept";
}

TEST_F(HostProcessTest, startsWithoutPairedClientsAfterADamagedTrustFile) {
  std::filesystem::create_directories(trustFile().parent_path());
  std::ofstream(trustFile()) << "{\"no list";
  HostProcess host(with({"--pin", "1"}));
  ASSERT_TRUE(host.listens());
  EXPECT_TRUE(RawClient(port).pair("1"));
}

TEST_F(HostProcessTest, deliversTheReasonBeforeItEndsAConnection) {
  HostProcess host(with({}));
  ASSERT_TRUE(host.listens());
  for (int round = 0; round < 20; ++round) {
    RawClient client(port);
    client.sendHello(std::nullopt, 3);
    // Input that the host never reads must not destroy its answer.
    client.peer().write(Frame{FrameType::ping, pattern(50'000)}.encoded());
    const auto error = client.next<message::Error>();
    ASSERT_TRUE(error) << "round " << round;
    EXPECT_EQ(error->_0.code, "proto.version");
    EXPECT_EQ(error->_0.message, "host speaks protocol 4");
    client.peer().readAll();
    EXPECT_EQ(client.peer().end(), LoopbackPeer::End::finished);
  }
}

TEST_F(HostProcessTest, endsInOrderOnASignal) {
  for (const int signal : {SIGTERM, SIGINT}) {
    HostProcess host(with({"--pin", "1"}));
    ASSERT_TRUE(host.listens());
    RawClient paired(port);
    ASSERT_TRUE(paired.pair("1"));
    RawClient unknown(port);
    // An answer shows that the host has accepted the connection.
    unknown.peer().write(Frame{FrameType::ping, {}}.encoded());
    ASSERT_EQ(unknown.peer().read(frameHeaderSize), (Frame{FrameType::pong, {}}.encoded()));
    host.program().signal(signal);
    EXPECT_TRUE(paired.next<message::Bye>());
    EXPECT_EQ(paired.peer().end(), LoopbackPeer::End::open);
    paired.peer().readAll();
    EXPECT_EQ(paired.peer().end(), LoopbackPeer::End::finished);
    EXPECT_TRUE(unknown.next<message::Bye>());
    EXPECT_EQ(host.program().waitForExit(), 0);
    EXPECT_FALSE(HostProcess::isListening(port));
  }
}

TEST_F(HostProcessTest, letsAgentsSaveTheirWorkBeforeItEnds) {
  for (const int signal : {SIGTERM, SIGINT}) {
    std::filesystem::remove(home.path() / "saved");
    std::filesystem::remove(home.path() / "ready");
    HostProcess host(with({"--pin", "1"}));
    ASSERT_TRUE(host.listens());
    RawClient client(port);
    ASSERT_TRUE(client.pair("1"));
    client.send(spawning("trap 'echo saved >saved; exit' TERM; : >ready; while :; do sleep 0.05; done"));
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(home.path() / "ready"); }));
    const auto start = std::chrono::steady_clock::now();
    host.program().signal(signal);
    EXPECT_EQ(host.program().waitForExit(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2500))
        << "it ends as soon as the last agent has gone";
    std::string saved;
    std::getline(std::ifstream(home.path() / "saved"), saved);
    EXPECT_EQ(saved, "saved") << signal;
  }
}

TEST_F(HostProcessTest, givesAgentsNothingOfTheTerminalItWasStartedFrom) {
  auto settings = with({"--pin", "1"});
  settings.environment = {"TMUX=/tmp/t,1,0", "TMUX_PANE=%1", "KITTY_WINDOW_ID=3",  "KITTY_PID=9",
                          "COLUMNS=80",      "LINES=24",     "JOURNAL_STREAM=8:1", "TMUX_TMPDIR=/tmp/kept",
                          "PAGER=kept"};
  HostProcess host(settings);
  ASSERT_TRUE(host.listens());
  RawClient client(port);
  ASSERT_TRUE(client.pair("1"));
  client.send(spawning("env >found; mv found environment"));
  ASSERT_TRUE(eventually([&] { return std::filesystem::exists(home.path() / "environment"); }));
  std::set<std::string> names;
  std::ifstream file(home.path() / "environment");
  for (std::string line; std::getline(file, line);) names.insert(line.substr(0, line.find('=')));
  for (const char* name :
       {"TMUX", "TMUX_PANE", "KITTY_WINDOW_ID", "KITTY_PID", "COLUMNS", "LINES", "JOURNAL_STREAM"})
    EXPECT_FALSE(names.contains(name)) << name;
  EXPECT_TRUE(names.contains("TMUX_TMPDIR") && names.contains("PAGER"));
}

TEST_F(HostProcessTest, killsAnAgentThatWillNotEnd) {
  HostProcess host(with({"--pin", "1"}));
  ASSERT_TRUE(host.listens());
  RawClient client(port);
  ASSERT_TRUE(client.pair("1"));
  client.send(spawning("trap '' TERM HUP; echo $$ >pid; mv pid ready; while :; do sleep 0.05; done"));
  ASSERT_TRUE(eventually([&] { return std::filesystem::exists(home.path() / "ready"); }));
  pid_t agent = 0;
  std::ifstream(home.path() / "ready") >> agent;
  ASSERT_GT(agent, 1);
  const auto start = std::chrono::steady_clock::now();
  host.program().signal(SIGTERM);
  EXPECT_EQ(host.program().waitForExit(), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_NE(::kill(agent, 0), 0);
}

TEST_F(HostProcessTest, waitsForAPortThatAnotherProcessHolds) {
  std::optional<ListeningHost> other;
  other.emplace();
  auto settings = with({"--pin", "1", "--verbose"});
  settings.port = other->port();
  HostProcess host(settings);
  ASSERT_TRUE(host.program().waitForOutput("pairing PIN"));
  // Long enough for several attempts: it neither ends nor takes the port.
  EXPECT_FALSE(host.program().waitForExit(std::chrono::milliseconds(1800)));
  other.reset();
  const auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(eventually([&] { return RawClient(settings.port).pair("1").has_value(); }));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

TEST_F(HostProcessTest, runsWhereNothingCanBeWritten) {
  auto settings = with({"--pin", "1"});
  settings.home = "/proc/nowhere";
  HostProcess host(settings);
  ASSERT_TRUE(host.listens());
  RawClient client(port);
  EXPECT_TRUE(client.pair("1"));
  EXPECT_TRUE(client.echoes());
}

}  // namespace
}  // namespace quorl::test
