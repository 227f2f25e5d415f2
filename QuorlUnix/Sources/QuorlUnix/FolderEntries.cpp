// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlUnix/FolderEntries.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <QuorlKit/Foundation/SecureRandom.h>

namespace quorl {

std::string uniqueName(std::string_view prefix, std::string_view suffix) {
  std::array<std::uint8_t, 8> random{};
  SystemSecureRandom::shared().fill(random);
  return fmt::format("{}{:02x}{}", prefix, fmt::join(random, ""), suffix);
}

bool entryExists(int folder, const std::string& name) {
  struct stat facts{};
  return ::fstatat(folder, name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0;
}

int moveWithoutReplacing(int folder, const std::string& from, const std::string& to) {
#ifdef RENAME_NOREPLACE
  if (::renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
#endif
  // A hard link replaces nothing either.
  if (::linkat(folder, from.c_str(), folder, to.c_str(), 0) == 0)
    return ::unlinkat(folder, from.c_str(), 0) == 0 ? 0 : errno;
  if (errno == EEXIST || entryExists(folder, to)) return EEXIST;
  return ::renameat(folder, from.c_str(), folder, to.c_str()) == 0 ? 0 : errno;
}

}  // namespace quorl
