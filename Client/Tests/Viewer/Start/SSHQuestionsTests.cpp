// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/SSHQuestions.h>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include <gtest/gtest.h>

#include <quorl-client/Session/SSHTunnel.h>

namespace quorl::viewer {
namespace {

using Kind = SSHQuestion::Kind;

class SSHQuestions : public testing::Test {
 protected:
  SSHQuestions() { clear(); }
  ~SSHQuestions() override { clear(); }
  static void clear() {
    for (const char* name : {"QUORL_VIEWER_ASKS", "SSH_ASKPASS", "SSH_ASKPASS_PROMPT", "SSH_ASKPASS_REQUIRE"})
      ::unsetenv(name);
    client::setSSHVariables({});
  }
  static Kind kindOf(const char* text, const char* hint = "") {
    ::setenv("SSH_ASKPASS_PROMPT", hint, 1);
    ::setenv("QUORL_VIEWER_ASKS", "1", 1);
    return askedBySSH(text)->kind;
  }
};

TEST_F(SSHQuestions, areOnlyThoseOfAnSSHThatTheViewerHasStarted) {
  EXPECT_EQ(askedBySSH("ada@desk's password: "), std::nullopt);
  ::setenv("QUORL_VIEWER_ASKS", "1", 1);
  EXPECT_EQ(askedBySSH(nullptr), std::nullopt);
  EXPECT_EQ(askedBySSH("ada@desk's password: "), (SSHQuestion{Kind::secret, "ada@desk's password: "}));
}

TEST_F(SSHQuestions, leaveAnotherProgramThatAsksAlone) {
  ::setenv("SSH_ASKPASS", "/usr/bin/another", 1);
  askThrough("/usr/bin/quorl_viewer");
  EXPECT_STREQ(std::getenv("SSH_ASKPASS"), "/usr/bin/another");
  EXPECT_TRUE(client::sshVariables().empty());
}

TEST_F(SSHQuestions, areNotForOtherProgramsThatTheViewerStarts) {
  askThrough("/usr/bin/quorl_viewer");
  for (const char* name : {"QUORL_VIEWER_ASKS", "SSH_ASKPASS", "SSH_ASKPASS_REQUIRE"})
    EXPECT_EQ(std::getenv(name), nullptr) << name;
}

// The SSH_ASKPASS_REQUIRE of an ssh that a process of a new terminal starts, in its foreground or not; an
// exit status: 1 none, 2 "force".
int requirementIn(bool isForeground) {
  int terminal = -1;
  const pid_t leader = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (leader == 0) {
    const pid_t process = ::fork();
    if (process == 0) {
      if (!isForeground) ::setpgid(0, 0);
      askThrough("/usr/bin/quorl_viewer");
      const auto& variables = client::sshVariables();
      const bool isForced = std::ranges::find(variables, "SSH_ASKPASS_REQUIRE=force") != variables.end();
      ::_exit(variables.empty() ? 1 : isForced ? 2 : 3);
    }
    int status = 0;
    ::waitpid(process, &status, 0);
    ::_exit(WEXITSTATUS(status));
  }
  int status = 0;
  ::waitpid(leader, &status, 0);
  ::close(terminal);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(SSHQuestions, areAskedInTheTerminalByItsForegroundOnly) {
  EXPECT_EQ(requirementIn(true), 1);
  EXPECT_EQ(requirementIn(false), 2) << "a job in the background that reads from it is stopped";
}

TEST_F(SSHQuestions, areAnsweredInTheirOwnWay) {
  EXPECT_EQ(kindOf("Enter passphrase for key '/home/ada/.ssh/id': "), Kind::secret);
  EXPECT_EQ(kindOf("Are you sure you want to continue connecting (yes/no/[fingerprint])? "), Kind::yesOrNo);
  EXPECT_EQ(kindOf("Allow use of key /home/ada/.ssh/id?", "confirm"), Kind::consent);
  EXPECT_EQ(kindOf("Confirm user presence for key ED25519-SK", "none"), Kind::notice);

  EXPECT_EQ(answerTo({Kind::secret, ""}, true, "pass word"), "pass word\n");
  EXPECT_EQ(answerTo({Kind::secret, ""}, false, "pass word"), std::nullopt);
  EXPECT_EQ(answerTo({Kind::yesOrNo, ""}, true, ""), "yes\n");
  EXPECT_EQ(answerTo({Kind::yesOrNo, ""}, false, ""), "no\n");
  EXPECT_EQ(answerTo({Kind::consent, ""}, true, ""), "");
  EXPECT_EQ(answerTo({Kind::consent, ""}, false, ""), std::nullopt);
}

}  // namespace
}  // namespace quorl::viewer
