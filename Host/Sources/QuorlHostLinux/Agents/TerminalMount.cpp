// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/TerminalMount.h>

#include <limits.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostLinux/Agents/ProcText.h>

namespace quorl {

namespace {

std::string linkOf(const std::string& path) {
  std::array<char, PATH_MAX> target;
  const ssize_t size = readlink(path.c_str(), target.data(), target.size());
  return size < 1 ? std::string() : std::string(target.data(), static_cast<std::size_t>(size));
}

std::uint64_t deviceOf(const char* path) {
  struct stat status{};
  return stat(path, &status) == 0 ? status.st_dev : 0;
}

}  // namespace

TerminalMount::TerminalMount(std::string root)
    : root_(std::move(root)),
      ownMounts_(linkOf(root_ + "/self/ns/mnt")),
      ownTerminals_(deviceOf("/dev/pts")) {}

std::string TerminalMount::pathOf(std::int32_t pid, const char* file) const {
  return fmt::format("{}/{}/{}", root_, pid, file);
}

bool TerminalMount::isElsewhere(std::int32_t pid, std::uint32_t terminal) const {
  const auto major = ProcText::majorNumber(terminal);
  if (major < 136 || major > 143) return false;
  const std::string mounts = linkOf(pathOf(pid, "ns/mnt"));
  // Processes of other users: those of a container have numbers of their own.
  if (mounts.empty()) return isInOtherPIDNamespace(pid);
  // A sandbox without terminals of its own has those of this system open.
  return mounts != ownMounts_ && !isOpenHere(pid, terminal);
}

std::string TerminalMount::terminalOf(std::int32_t pid) const {
  std::ifstream file(pathOf(pid, "stat"));
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const auto stat = ProcText::parseStat(text);
  const auto name = stat ? ProcText::terminalName(stat->terminal) : std::nullopt;
  if (!name || isElsewhere(pid, stat->terminal)) return {};
  return "/dev/" + *name;
}

bool TerminalMount::isOpenHere(std::int32_t pid, std::uint32_t terminal) const {
  for (const char* file : {"fd/0", "fd/1", "fd/2", "fd/255"}) {
    struct stat status{};
    if (stat(pathOf(pid, file).c_str(), &status) != 0 || !S_ISCHR(status.st_mode)) continue;
    if (major(status.st_rdev) == ProcText::majorNumber(terminal) &&
        minor(status.st_rdev) == ProcText::minorNumber(terminal))
      return status.st_dev == ownTerminals_;
  }
  return false;
}

// The line has one number for each namespace from this one to the process's own (proc_pid_status(5)).
bool TerminalMount::isInOtherPIDNamespace(std::int32_t pid) const {
  std::ifstream status(pathOf(pid, "status"));
  constexpr std::string_view key = "NSpid:";
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(key)) return line.find('\t', key.size() + 1) != std::string::npos;
  return false;
}

}  // namespace quorl
