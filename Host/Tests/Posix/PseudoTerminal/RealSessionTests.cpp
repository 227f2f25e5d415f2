// SPDX-License-Identifier: GPL-3.0-or-later
// Supervised sessions with real shells, real terminals and real
// time.
#include <QuorlHostCore/Agents/Terminals/PTYSession.h>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <string>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostPosix/PosixPseudoTerminals.h>
#include <Support/Eventually.h>

namespace quorl {
namespace {

using namespace std::chrono_literals;
using test::eventually;

class RealSession : public testing::Test {
 protected:
  ~RealSession() override { session.reset(); }

  void spawn(const std::string& command, const std::string& directory = "~",
             std::map<std::string, std::string> env = {}) {
    auto made = PTYSession::spawn({.id = UUID::random(),
                                   .displayName = "agent",
                                   .command = command,
                                   .workingDirectory = directory,
                                   .env = std::move(env)},
                                  pool, terminals, "/tmp");
    ASSERT_TRUE(made.has_value()) << made.error().message;
    session = *made;
    session->startMonitoring({.onOutput =
                                  [this](const SharedBytes& bytes) {
                                    std::lock_guard lock(mutex);
                                    output += textOf(*bytes);
                                  },
                              .onStatusChange =
                                  [this](AgentStatus status) {
                                    std::lock_guard lock(mutex);
                                    statuses.push_back(status);
                                  },
                              .onAttention =
                                  [this](const std::string&, const std::string& body) {
                                    std::lock_guard lock(mutex);
                                    bodies.push_back(body);
                                  }});
  }
  bool exits() {
    return eventually([this] { return session->status() == AgentStatus::exited; });
  }
  template <class T>
  T read(const T& guarded) {
    std::lock_guard lock(mutex);
    return guarded;
  }

  PoolScheduler pool;
  PosixPseudoTerminals terminals;
  std::shared_ptr<PTYSession> session;
  std::mutex mutex;
  std::string output;
  std::vector<AgentStatus> statuses;
  std::vector<std::string> bodies;
};

TEST_F(RealSession, ofACommandThatDoesNotExistIsAnOrdinaryExitWithItsReasonInTheScrollback) {
  spawn("no-such-command-at-all --x");
  ASSERT_TRUE(exits());
  EXPECT_NE(textOf(session->scrollback()).find("not found"), std::string::npos);
  EXPECT_EQ(read(bodies), std::vector<std::string>{"finished"});
  EXPECT_EQ(read(statuses), std::vector{AgentStatus::exited});
}

TEST_F(RealSession, inADirectoryThatHasVanishedFailsToSpawn) {
  const auto made =
      PTYSession::spawn({.id = UUID::random(), .workingDirectory = "~/gone/away"}, pool, terminals, "/tmp");
  ASSERT_FALSE(made.has_value());
  EXPECT_EQ(made.error(), (WireError{"agent.spawn", "posix_spawn failed: No such file or directory"}));
}

TEST_F(RealSession, withATildeRunsInTheHomeDirectoryAndTheCallersTermWins) {
  spawn("pwd; echo \"$TERM $LANG\"", "~", {{"TERM", "dumb"}});
  ASSERT_TRUE(exits());
  EXPECT_EQ(textOf(session->scrollback()), "/tmp\r\ndumb en_US.UTF-8\r\n");
}

TEST_F(RealSession, keepsInvalidUTF8Unchanged) {
  spawn("printf '\\377\\376 caf\\303\\251\\303'");
  ASSERT_TRUE(exits());
  EXPECT_EQ(textOf(session->scrollback()), "\xff\xfe caf\xc3\xa9\xc3");
  EXPECT_TRUE(session->summary().previewLine.has_value());
}

TEST_F(RealSession, followsTheAlternateScreenThroughWritesThatCutTheSequenceAtEveryByte) {
  spawn(
      "for b in '\\033' '[' '?' 1 0 4 9 h; do printf \"$b\"; sleep 0.01; done; read -r x;"
      "for b in '\\033' '[' '?' 1 0 4 9 l; do printf \"$b\"; sleep 0.01; done; read -r x");
  ASSERT_TRUE(eventually([this] { return session->isAlternateScreen(); }));
  session->write(bytesOf("\r"));
  ASSERT_TRUE(eventually([this] { return !session->isAlternateScreen(); }));
  session->write(bytesOf("\r"));
  EXPECT_TRUE(exits());
}

TEST_F(RealSession, survivesAMillionBells) {
  spawn("head -c 1000000 /dev/zero | tr '\\0' '\\007'; read -r x");
  ASSERT_TRUE(eventually([this] { return read(output).size() == 1'000'000; }));
  ASSERT_TRUE(eventually([this] { return session->status() == AgentStatus::waitingInput; }));
  EXPECT_EQ(read(bodies), std::vector<std::string>{"waiting for input"});
}

TEST_F(RealSession, waitsTwoSecondsAfterAQuestionAndRunsAgainWithTheAnswer) {
  spawn("printf 'Overwrite? '; read -r x; echo \"got $x\"; read -r y");
  ASSERT_TRUE(eventually([this] { return session->status() == AgentStatus::waitingInput; }));
  EXPECT_EQ(read(bodies), std::vector<std::string>{"Overwrite?"});
  session->write(bytesOf("yes\r"));
  ASSERT_TRUE(eventually([this] { return read(output).find("got yes") != std::string::npos; }));
  EXPECT_EQ(read(statuses), (std::vector{AgentStatus::waitingInput, AgentStatus::running}));
}

TEST_F(RealSession, endsAChildThatIgnoresTheGentleSignalAfterThreeSeconds) {
  spawn("trap '' TERM HUP; echo ready; while :; do sleep 1; done");
  ASSERT_TRUE(eventually([this] { return read(output).find("ready") != std::string::npos; }));
  const auto begin = std::chrono::steady_clock::now();
  session->terminate();
  ASSERT_TRUE(exits());
  const auto took = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(took, 2900ms);
  EXPECT_LT(took, 6s);
}

TEST_F(RealSession, keepsTheRowOfADaemonThatClosesItsTerminalUntilItExits) {
  spawn("echo up; exec </dev/null >/dev/null 2>&1; sleep 4; exit 0");
  ASSERT_TRUE(eventually([this] { return session->status() == AgentStatus::idle; }));
  EXPECT_EQ(read(bodies), std::vector<std::string>{});
  ASSERT_TRUE(exits());
  EXPECT_EQ(read(bodies), std::vector<std::string>{"finished"});
}

}  // namespace
}  // namespace quorl
