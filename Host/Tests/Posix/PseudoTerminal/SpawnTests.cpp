// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PseudoTerminalSpawn.h>

#include <gtest/gtest.h>

#include <set>

namespace quorl {
namespace {

std::string chosen(const std::string& accountShell, std::set<std::string> installed) {
  return chooseShell(accountShell, [&](const std::string& path) { return installed.contains(path); });
}

TEST(ChooseShell, takesZshIfItIsInstalled) {
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

std::vector<std::string> withLocales(std::vector<std::string> environment,
                                     const std::set<std::string>& installed) {
  return withUsableLocale(std::move(environment),
                          [&](const std::string& name) { return installed.contains(name); });
}

TEST(WithUsableLocale, namesOneWithUTF8IfTheLocaleIsNotInstalled) {
  using Environment = std::vector<std::string>;
  EXPECT_EQ(withLocales({"A=1", "LANG=en_US.UTF-8"}, {"C.UTF-8"}),
            (Environment{"A=1", "LANG=en_US.UTF-8", "LC_ALL=C.UTF-8"}));
  EXPECT_EQ(withLocales({"LC_ALL=", "LANG=en_US.UTF-8"}, {"C.UTF-8"}),
            (Environment{"LANG=en_US.UTF-8", "LC_ALL=C.UTF-8"}));
  for (const Environment& kept : {Environment{"LANG=en_US.UTF-8", "LC_ALL=de_DE.UTF-8"},
                                  Environment{"LANG=nl_NL.UTF-8"}, Environment{"LANGUAGE=en", "LC_ALL_X=1"}})
    EXPECT_EQ(withLocales(kept, {"C.UTF-8", "nl_NL.UTF-8"}), kept);
  EXPECT_EQ(withLocales({"LANG=en_US.UTF-8"}, {}), (Environment{"LANG=en_US.UTF-8"}));
}

}  // namespace
}  // namespace quorl
