// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/UserDirectory.h>

namespace quorl {

/// An account that a person can log in to.
struct Account {
  std::uint32_t uid = 0;
  std::string username;
  std::string fullName;
  bool isLoggedIn = false;
  bool isActive = false;  // holds the console

  bool operator==(const Account&) const = default;
};

/// Uids from here on are never those of people.
inline constexpr std::uint32_t loginUIDEnd = 60'000;

/// The accounts of people among all entries: the active one first, then by user name as plain strings. Pure.
std::vector<Account> loginAccounts(const std::vector<UserEntry>& entries, std::uint32_t firstLoginUID,
                                   const std::set<std::string>& loggedIn,
                                   const std::optional<std::string>& consoleUser);

}  // namespace quorl
