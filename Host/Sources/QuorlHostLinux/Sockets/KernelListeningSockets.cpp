// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sockets/KernelListeningSockets.h>

#include <pwd.h>

#include <array>
#include <set>

#include <QuorlHostLinux/Sockets/ListenerDump.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

std::expected<std::vector<ListeningSocket>, PortError> KernelListeningSockets::list() {
  const auto listeners = dumpListeners();
  if (!listeners) return std::unexpected(listeners.error());
  std::set<std::uint64_t> inodes;
  for (const KernelListener& listener : *listeners)
    if (listener.inode != 0) inodes.insert(listener.inode);
  const auto owners = owners_.find(inodes);

  std::vector<ListeningSocket> sockets;
  for (const KernelListener& listener : *listeners) {
    const auto owner = owners.find(listener.inode);
    const bool isOwned = owner != owners.end();
    sockets.push_back({.port = listener.port,
                       .processName = isOwned ? owner->second.name : userName(listener.user),
                       .pid = isOwned ? owner->second.pid : 0,
                       .reach = reachOf(listener),
                       .identity = listener.cookie});
  }
  return sockets;
}

const std::string& KernelListeningSockets::userName(std::uint32_t user) {
  const auto [entry, isNew] = userNames_.try_emplace(user);
  if (isNew) {
    std::array<char, 4096> buffer;
    passwd account{};
    passwd* found = nullptr;
    getpwuid_r(user, &account, buffer.data(), buffer.size(), &found);
    entry->second = found ? repairedUTF8(account.pw_name) : std::to_string(user);
  }
  return entry->second;
}

}  // namespace quorl
