// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Users/Accounts.h>

#include <algorithm>

namespace quorl {

std::vector<Account> loginAccounts(const std::vector<UserEntry>& entries, std::uint32_t firstLoginUID,
                                   const std::set<std::string>& loggedIn,
                                   const std::optional<std::string>& consoleUser) {
  std::vector<Account> accounts;
  for (const UserEntry& entry : entries) {
    if (entry.uid < firstLoginUID || entry.uid >= loginUIDEnd || entry.username.starts_with('_')) continue;
    accounts.push_back({.uid = entry.uid,
                        .username = entry.username,
                        .fullName = entry.fullName.empty() ? entry.username : entry.fullName,
                        .isLoggedIn = loggedIn.contains(entry.username),
                        .isActive = consoleUser == entry.username});
  }
  std::ranges::sort(accounts, [](const Account& left, const Account& right) {
    if (left.isActive != right.isActive) return left.isActive;
    return left.username < right.username;
  });
  return accounts;
}

}  // namespace quorl
