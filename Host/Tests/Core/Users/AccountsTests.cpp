// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Users/Accounts.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl::test {
namespace {

using ::testing::ElementsAre;

std::vector<std::string> names(const std::vector<Account>& accounts) {
  std::vector<std::string> found;
  for (const Account& account : accounts) found.push_back(account.username);
  return found;
}

TEST(LoginAccounts, holdPeopleAndNoServices) {
  const std::vector<UserEntry> entries{
      {1, "daemon", ""},     {70, "_www", ""},     {600, "_hidden", ""}, {500, "early", ""},
      {501, "anna", "Anna"}, {59'999, "last", ""}, {60'000, "over", ""}, {4'294'967'294, "nobody", ""},
  };
  EXPECT_THAT(names(loginAccounts(entries, 501, {}, std::nullopt)), ElementsAre("anna", "last"));
}

TEST(LoginAccounts, followTheFirstUIDOfThePlatform) {
  EXPECT_THAT(names(loginAccounts({{501, "service", ""}, {1000, "anna", ""}}, 1000, {}, std::nullopt)),
              ElementsAre("anna"));
}

TEST(LoginAccounts, listTheActiveUserFirstAndSortTheOthersByName) {
  const std::vector<UserEntry> entries{
      {501, "zoe", ""}, {502, "Bea", ""}, {503, "anna", ""}, {504, "bea", ""}};
  EXPECT_THAT(names(loginAccounts(entries, 501, {}, "zoe")), ElementsAre("zoe", "Bea", "anna", "bea"));
}

TEST(LoginAccounts, sortByNameAloneAtTheLoginWindow) {
  const auto accounts = loginAccounts({{501, "zoe", ""}, {502, "anna", ""}}, 501, {"zoe"}, std::nullopt);
  EXPECT_THAT(names(accounts), ElementsAre("anna", "zoe"));
  EXPECT_FALSE(accounts[0].isActive || accounts[1].isActive);
  EXPECT_TRUE(accounts[1].isLoggedIn);
}

TEST(LoginAccounts, showTheShortNameWithoutAFullName) {
  const auto accounts = loginAccounts({{501, "anna", ""}, {502, "bea", "Bea B."}}, 501, {}, std::nullopt);
  EXPECT_EQ(accounts[0].fullName, "anna");
  EXPECT_EQ(accounts[1].fullName, "Bea B.");
}

}  // namespace
}  // namespace quorl::test
