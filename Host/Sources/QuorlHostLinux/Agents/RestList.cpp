// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/RestList.h>

namespace quorl {

void RestList::add(const std::string& server, Clock::time_point now) {
  const std::lock_guard lock(lock_);
  until_[server] = now + rest_;
}

bool RestList::holds(const std::string& server, Clock::time_point now) {
  const std::lock_guard lock(lock_);
  const auto resting = until_.find(server);
  if (resting == until_.end()) return false;
  if (now < resting->second) return true;
  until_.erase(resting);
  return false;
}

}  // namespace quorl
