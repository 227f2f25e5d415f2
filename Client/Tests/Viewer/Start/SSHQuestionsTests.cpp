// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Start/SSHQuestions.h>

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
