// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PseudoTerminalSpawn.h>

#include <gtest/gtest.h>

#include <set>

namespace quorl {
namespace {

std::string chosen(const std::string& accountShell, std::set<std::string> installed) {
  return chooseShell(accountShell, [&](const std::string& path) { return installed.contains(path); });
}

TEST(ChooseShell, takesZshWhereItIsInstalled) {
  EXPECT_EQ(chosen("/bin/bash", {"/bin/zsh", "/bin/bash"}), "/bin/zsh");
}

TEST(ChooseShell, elseTakesTheAccountsShell) {
  EXPECT_EQ(chosen("/usr/bin/fish", {"/usr/bin/fish", "/bin/sh"}), "/usr/bin/fish");
}

TEST(ChooseShell, takesShForAnAccountWhoseShellIsMissingOrRunsNothing) {
  EXPECT_EQ(chosen("/opt/gone", {"/bin/sh"}), "/bin/sh");
  EXPECT_EQ(chosen("", {"/bin/sh"}), "/bin/sh");
  EXPECT_EQ(chosen("/usr/sbin/nologin", {"/usr/sbin/nologin"}), "/bin/sh");
  EXPECT_EQ(chosen("/bin/false", {"/bin/false"}), "/bin/sh");
  EXPECT_EQ(chosen("/bin/tcsh", {"/bin/tcsh"}), "/bin/sh");
}

TEST(EnvironmentWith, putsAdditionsInPlaceOfWhatIsInherited) {
  const char* const inherited[] = {"A=1", "TERM=dumb", "EMPTY=", "ODD", nullptr};
  EXPECT_EQ(environmentWith(inherited, {{"TERM", "xterm"}, {"B", "x=y"}}),
            (std::vector<std::string>{"A=1", "EMPTY=", "ODD", "B=x=y", "TERM=xterm"}));
  EXPECT_TRUE(environmentWith(nullptr, {}).empty());
}

}  // namespace
}  // namespace quorl
