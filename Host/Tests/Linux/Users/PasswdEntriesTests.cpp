// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Users/PasswdEntries.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl::test {
namespace {

using ::testing::ElementsAre;

PasswdEntry entry(std::uint32_t uid, const std::string& name, const std::string& shell = "/bin/bash") {
  return {name, uid, "", "/home/" + name, shell};
}

TEST(LoginRange, isReadFromLoginDefs) {
  EXPECT_EQ(loginRangeOf("# comment\nUID_MIN\t\t 500\nSYS_UID_MIN 1\nUID_MAX 2000\n"),
            (LoginRange{500, 2000}));
  EXPECT_EQ(loginRangeOf("UID_MAX 30000"), (LoginRange{1000, 30000}));
  EXPECT_EQ(loginRangeOf(""), (LoginRange{1000, 60000}));
  EXPECT_EQ(loginRangeOf("UID_MIN abc\nUID_MAX 99999999999\nUID_MIN\n#UID_MIN 7\nUID_MIN 1x\n"),
            (LoginRange{1000, 60000}));
}

TEST(FullName, isTheGecosFieldUpToItsFirstComma) {
  const auto named = [](const std::string& gecos) { return fullNameOf({"jane", 1000, gecos, "", ""}); };
  EXPECT_EQ(named("Jane Doe,Room 5,,"), "Jane Doe");
  EXPECT_EQ(named("Jane Doe"), "Jane Doe");
  EXPECT_EQ(named(",,,"), "");
  EXPECT_EQ(named("& Doe"), "Jane Doe");
}

TEST(LoginEntries, holdAccountsOfTheRangeThatCanLogIn) {
  const std::vector<PasswdEntry> entries{entry(999, "service"),
                                         entry(1000, "anna"),
                                         entry(1001, "guest", "/usr/sbin/nologin"),
                                         entry(1002, "ftp", "/bin/false"),
                                         entry(1003, "zsh", "/usr/bin/zsh"),
                                         entry(1004, "plain", ""),
                                         entry(60001, "over")};
  std::vector<std::string> names;
  for (const auto& user : loginEntries(entries, {})) names.push_back(user.username);
  EXPECT_THAT(names, ElementsAre("anna", "zsh", "plain")) << "an empty shell is /bin/sh";
}

}  // namespace
}  // namespace quorl::test
