// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Upgrade/InstalledProgram.h>

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string_view>

#include <linux/limits.h>

namespace quorl {

namespace {

constexpr const char* runningProgram = "/proc/self/exe";

}  // namespace

InstalledProgram InstalledProgram::ofThisProcess() {
  InstalledProgram program;
  std::array<char, PATH_MAX> target{};
  const auto length = ::readlink(runningProgram, target.data(), target.size());
  if (length <= 0) return program;
  std::string_view path(target.data(), static_cast<std::size_t>(length));
  constexpr std::string_view deleted = " (deleted)";
  if (path.ends_with(deleted)) path.remove_suffix(deleted.size());
  program.path_ = path;
  return program;
}

bool InstalledProgram::isAnother() const {
  struct stat running{};
  struct stat installed{};
  if (::stat(runningProgram, &running) != 0 || ::stat(path_.c_str(), &installed) != 0) return false;
  return running.st_dev != installed.st_dev || running.st_ino != installed.st_ino;
}

}  // namespace quorl
