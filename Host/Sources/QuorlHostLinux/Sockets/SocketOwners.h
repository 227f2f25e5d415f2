// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace quorl {

struct SocketOwner {
  std::int32_t pid = 0;
  std::string name;  // of the process, at most 15 bytes of the program's choice; valid UTF-8

  bool operator==(const SocketOwner&) const = default;
};

/// Finds the processes that hold given sockets, by the links "socket:[INODE]" in /proc/PID/fd (Linux manual,
/// proc(5)). A process of another user shows its links to root only.
///
/// The search through all processes costs milliseconds. It is made only when a socket is new or has left its
/// process; otherwise one link a socket is read.
///
/// *Queue*: the owner's. *Blocking*: reads /proc.
class SocketOwners {
 public:
  explicit SocketOwners(std::string procFolder = "/proc") : root_(std::move(procFolder)) {}

  /// The owner of each socket that has a readable one. Of several processes the one with the lowest pid, as
  /// of the latest search.
  std::map<std::uint64_t, SocketOwner> find(const std::set<std::uint64_t>& inodes);

 private:
  struct Link {
    std::int32_t pid = 0;
    std::string descriptor;  // its name in the folder
  };

  bool isStillHeld(std::uint64_t inode, const Link& link) const;
  void search(const std::set<std::uint64_t>& inodes);
  void searchProcess(std::int32_t pid, const std::set<std::uint64_t>& inodes);
  std::string nameOf(std::int32_t pid) const;

  const std::string root_;
  std::map<std::uint64_t, Link> links_;   // by inode
  std::set<std::uint64_t> withoutOwner_;  // after the latest search
};

}  // namespace quorl
