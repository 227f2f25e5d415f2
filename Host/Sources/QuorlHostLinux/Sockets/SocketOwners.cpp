// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Sockets/SocketOwners.h>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include <QuorlKit/Foundation/UTF8.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

template <class Number>
std::optional<Number> decimal(std::string_view text) {
  Number value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// The inode that a link in a process's folder of descriptors names, if it is a socket.
std::optional<std::uint64_t> linkedSocket(int folder, const char* path) {
  constexpr std::string_view opening = "socket:[";
  std::array<char, 64> buffer;
  const ssize_t size = readlinkat(folder, path, buffer.data(), buffer.size());
  if (size < 1) return std::nullopt;
  const std::string_view target(buffer.data(), static_cast<std::size_t>(size));
  if (!target.starts_with(opening) || !target.ends_with(']')) return std::nullopt;
  return decimal<std::uint64_t>(target.substr(opening.size(), target.size() - opening.size() - 1));
}

}  // namespace

std::map<std::uint64_t, SocketOwner> SocketOwners::find(const std::set<std::uint64_t>& inodes) {
  std::erase_if(links_, [&](const auto& entry) {
    return !inodes.contains(entry.first) || !isStillHeld(entry.first, entry.second);
  });
  const auto isSettled = [&](std::uint64_t inode) {
    return links_.contains(inode) || withoutOwner_.contains(inode);
  };
  if (!std::ranges::all_of(inodes, isSettled)) search(inodes);

  std::map<std::uint64_t, SocketOwner> owners;
  std::map<std::int32_t, std::string> names;
  for (const auto& [inode, link] : links_) {
    const auto [name, isNew] = names.try_emplace(link.pid);
    if (isNew) name->second = nameOf(link.pid);
    owners[inode] = {.pid = link.pid, .name = name->second};
  }
  return owners;
}

bool SocketOwners::isStillHeld(std::uint64_t inode, const Link& link) const {
  return linkedSocket(AT_FDCWD, fmt::format("{}/{}/fd/{}", root_, link.pid, link.descriptor).c_str()) ==
         inode;
}

void SocketOwners::search(const std::set<std::uint64_t>& inodes) {
  std::set<std::uint64_t> missing;
  for (const std::uint64_t inode : inodes)
    if (!links_.contains(inode)) missing.insert(inode);
  std::vector<std::int32_t> processes;
  if (const Directory directory(opendir(root_.c_str())); directory)
    while (const dirent* entry = readdir(directory.get()))
      if (const auto pid = decimal<std::int32_t>(entry->d_name)) processes.push_back(*pid);
  std::ranges::sort(processes);
  for (const std::int32_t pid : processes) {
    if (missing.empty()) break;
    searchProcess(pid, missing);
    std::erase_if(missing, [&](std::uint64_t inode) { return links_.contains(inode); });
  }
  withoutOwner_ = std::move(missing);
}

void SocketOwners::searchProcess(std::int32_t pid, const std::set<std::uint64_t>& inodes) {
  const Directory directory(opendir(fmt::format("{}/{}/fd", root_, pid).c_str()));
  if (!directory) return;
  while (const dirent* entry = readdir(directory.get())) {
    const auto inode = linkedSocket(dirfd(directory.get()), entry->d_name);
    if (inode && inodes.contains(*inode))
      links_.try_emplace(*inode, Link{.pid = pid, .descriptor = entry->d_name});
  }
}

std::string SocketOwners::nameOf(std::int32_t pid) const {
  const Descriptor file(open(fmt::format("{}/{}/comm", root_, pid).c_str(), O_RDONLY | O_CLOEXEC));
  std::array<char, 64> buffer;
  const ssize_t size = file.isOpen() ? read(file.get(), buffer.data(), buffer.size()) : 0;
  std::string_view name(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  if (name.ends_with('\n')) name.remove_suffix(1);
  return repairedUTF8(name);
}

}  // namespace quorl
