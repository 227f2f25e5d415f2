// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Ports/UserDirectory.h>

namespace quorl {

/// One line of the password database (passwd(5)), without the password.
struct PasswdEntry {
  std::string name;
  std::uint32_t uid = 0;
  std::string gecos;
  std::string home;
  std::string shell;
};

/// The uids of people's accounts in the text of /etc/login.defs (login.defs(5)); by default 1000 to 60000.
struct LoginRange {
  std::uint32_t first = 1'000;
  std::uint32_t last = 60'000;

  bool operator==(const LoginRange&) const = default;
};
LoginRange loginRangeOf(std::string_view loginDefs);

/// The full name: the GECOS field up to its first comma, with "&" as the capitalised user name.
std::string fullNameOf(const PasswdEntry& entry);

/// False for shells that refuse every login, such as nologin(8).
bool hasLoginShell(const PasswdEntry& entry);

/// The entries of the range that can log in.
std::vector<UserEntry> loginEntries(const std::vector<PasswdEntry>& entries, const LoginRange& range);

}  // namespace quorl
