// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Session/SSHFailure.h>
#include <quorl-client/Session/SSHTunnel.h>

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl::client {
namespace {

using testing::HasSubstr;

const HostAddress desk{"desk", 47905, SSHLogin{"ada", 2222}};

ClientError failureOf(std::vector<std::string> lines, Questions questions = Questions::allowed) {
  return sshFailure(desk, lines, 255, questions);
}

TEST(SSHFailure, namesTheCauseAndTheNextStep) {
  struct Row {
    std::vector<std::string> lines;
    ExitCode code;
    std::string what;
    std::string advice;
  };
  const std::vector<Row> table{
      {{"channel 0: open failed: connect failed: Connection refused", "stdio forwarding failed"},
       ExitCode::unreachable,
       "nothing listens on port 47905 of desk",
       "Start Quorl Host"},
      {{"channel 0: open failed: administratively prohibited: open failed", "stdio forwarding failed"},
       ExitCode::refused,
       "forwards no connections",
       "AllowTcpForwarding"},
      {{"Permission denied, please try again.", "ada@desk: Permission denied (publickey,password)."},
       ExitCode::refused,
       "ada@desk: Permission denied (publickey,password).",
       "ssh -p 2222 ada@desk"},
      {{"Host key verification failed."}, ExitCode::refused, "does not trust the key", "fingerprint"},
      {{"ssh: Could not resolve hostname desk: Name or service not known"},
       ExitCode::unreachable,
       "cannot be found",
       "spelling"},
      {{"ssh: connect to host desk port 2222: Connection refused"},
       ExitCode::unreachable,
       "no ssh server answers",
       "openssh-server"},
      {{"ssh: connect to host desk port 2222: Connection timed out"},
       ExitCode::unreachable,
       "cannot reach desk",
       "awake"},
      {{"kex_exchange_identification: read: Connection reset by peer"},
       ExitCode::unreachable,
       "kex_exchange_identification",
       "in a terminal"},
      {{}, ExitCode::unreachable, "exit status 255", "ssh -p 2222 ada@desk"},
  };
  for (const auto& row : table) {
    const auto error = failureOf(row.lines);
    EXPECT_EQ(error.code, row.code) << error.what;
    EXPECT_THAT(error.what, HasSubstr(row.what));
    EXPECT_THAT(error.advice, HasSubstr(row.advice));
    EXPECT_EQ(std::ranges::count(error.what, '\n'), 0);
  }
}

TEST(SSHFailure, advisesAKeyWhereSSHCannotAsk) {
  EXPECT_THAT(failureOf({"ada@desk: Permission denied (publickey)."}, Questions::refused).advice,
              HasSubstr("ssh-add"));
}

TEST(SSHFailure, escapesWhatTheServerWrote) {
  EXPECT_THAT(failureOf({"Bye \x1b[2J"}).what, HasSubstr("\\x1b[2J"));
}

std::vector<std::string> argumentsFor(Questions questions, std::string_view configuration) {
  return sshTunnelArguments(desk, questions, configuration);
}

TEST(SSHTunnel, passesTheHostAfterTheEndOfTheOptions) {
  const auto words = argumentsFor(Questions::allowed, "");
  ASSERT_GE(words.size(), 8U);
  EXPECT_EQ((std::vector(words.begin(), words.begin() + 6)),
            (std::vector<std::string>{"-W", "localhost:47905", "-p", "2222", "-l", "ada"}));
  EXPECT_EQ((std::vector(words.end() - 2, words.end())), (std::vector<std::string>{"--", "desk"}));
}

TEST(SSHTunnel, asksNothingWhereNoPersonIs) {
  EXPECT_THAT(argumentsFor(Questions::refused, ""), testing::Contains("BatchMode=yes"));
  EXPECT_THAT(argumentsFor(Questions::allowed, ""), testing::Not(testing::Contains("BatchMode=yes")));
}

TEST(SSHTunnel, leavesConfiguredTimesAlone) {
  const auto defaults = argumentsFor(Questions::allowed, "connecttimeout none\nserveraliveinterval 0\n");
  EXPECT_THAT(defaults, testing::Contains("ConnectTimeout=10"));
  EXPECT_THAT(defaults, testing::Contains("ServerAliveInterval=15"));
  const auto configured = argumentsFor(Questions::allowed, "connecttimeout 3\nserveraliveinterval 60\n");
  EXPECT_THAT(configured, testing::Not(testing::Contains("ConnectTimeout=10")));
  EXPECT_THAT(configured, testing::Not(testing::Contains("ServerAliveInterval=15")));
}

}  // namespace
}  // namespace quorl::client
