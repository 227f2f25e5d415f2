// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/LoginRecords.h>

#include <cstring>
#include <mutex>

#include <utmpx.h>

namespace quorl {

std::set<std::string> usersInLoginRecords() {
  static std::mutex position;
  const std::lock_guard lock(position);
  std::set<std::string> users;
  ::setutxent();
  while (const utmpx* record = ::getutxent()) {
    if (record->ut_type != USER_PROCESS) continue;
    const std::string user(record->ut_user, ::strnlen(record->ut_user, sizeof record->ut_user));
    if (!user.empty()) users.insert(user);
  }
  ::endutxent();
  return users;
}

}  // namespace quorl
