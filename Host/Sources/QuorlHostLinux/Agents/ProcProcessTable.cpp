// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/ProcProcessTable.h>

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <memory>
#include <optional>
#include <set>
#include <string_view>

#include <fmt/format.h>

#include <QuorlHostLinux/Agents/ProcText.h>
#include <QuorlHostPosix/ProcessDescriptor.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

/// The most bytes read of a command line: some programs put whole documents in it.
constexpr std::size_t commandLineLimit = 65'536;
constexpr std::size_t statLimit = 4096;

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

std::optional<std::int32_t> parsePID(std::string_view name) {
  std::int32_t pid = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
  if (error != std::errc{} || end != name.data() + name.size() || pid < 1) return std::nullopt;
  return pid;
}

/// The folder of one process, by paths relative to the root that was opened.
class ProcessFolder {
 public:
  ProcessFolder(int root, std::int32_t pid, std::string& buffer) : root_(root), pid_(pid), buffer_(buffer) {}

  /// Valid until the next read; nothing when the process has gone.
  std::optional<std::string_view> read(std::string_view file) {
    const Descriptor descriptor(openat(root_, pathOf(file).c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor.isOpen()) return std::nullopt;
    std::size_t size = 0;
    while (size < buffer_.size()) {
      const ssize_t count = ::read(descriptor.get(), buffer_.data() + size, buffer_.size() - size);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return std::nullopt;
      if (count == 0) break;
      size += static_cast<std::size_t>(count);
    }
    return std::string_view(buffer_).substr(0, size);
  }

  std::string link(std::string_view file) {
    std::array<char, PATH_MAX> target;
    const ssize_t size = readlinkat(root_, pathOf(file).c_str(), target.data(), target.size());
    if (size < 1) return {};
    return ProcText::linkTarget({target.data(), static_cast<std::size_t>(size)});
  }

 private:
  std::string pathOf(std::string_view file) const { return fmt::format("{}/{}", pid_, file); }

  int root_;
  std::int32_t pid_;
  std::string& buffer_;
};

}  // namespace

ProcProcessTable::ProcProcessTable(std::string root) : root_(std::move(root)), mount_(root_) {}

std::vector<ProcessRow> ProcProcessTable::processes() {
  std::vector<ProcessRow> rows;
  std::vector<Glimpse> glimpses;
  const std::unique_ptr<DIR, CloseDirectory> directory(opendir(root_.c_str()));
  if (!directory) return rows;
  std::string buffer(commandLineLimit, '\0');
  while (const dirent* entry = readdir(directory.get())) {
    const std::optional<std::int32_t> pid = parsePID(entry->d_name);
    if (!pid) continue;
    ProcessFolder folder(dirfd(directory.get()), *pid, buffer);
    const auto statText = folder.read("stat");
    const auto stat = statText ? ProcText::parseStat(*statText) : std::nullopt;
    if (!stat) continue;
    glimpses.push_back(
        {.pid = *pid, .parent = stat->parent, .name = stat->name, .isOnTerminal = stat->terminal != 0});
    ProcessRow row{.pid = *pid, .tty = "?", .startTime = stat->startTime};
    if (stat->terminal != 0) {
      row.tty = terminalName(stat->terminal);
      // Never the name of a terminal of this system: an agent in a container would be taken for that one's.
      if (mount_.isElsewhere(*pid, stat->terminal)) row.tty = "elsewhere/" + row.tty;
      if (const auto arguments = folder.read("cmdline")) row.command = ProcText::commandLine(*arguments);
      row.executablePath = folder.link("exe");
      // Processes that have ended and threads of the kernel have no command line. `ps` prints their names
      // like this.
      if (row.command.empty()) {
        row.command = ProcText::commandLine("[" + stat->name + "]");
      } else {
        row.name = ProcText::commandLine(stat->name);
      }
    }
    rows.push_back(std::move(row));
  }
  std::ranges::sort(rows, {}, &ProcessRow::pid);
  const std::lock_guard lock(lock_);
  latest_ = std::move(glimpses);
  return rows;
}

std::vector<std::int32_t> ProcProcessTable::childrenOf(std::string_view word) {
  const std::lock_guard lock(lock_);
  std::set<std::int32_t> parents;
  for (const Glimpse& glimpse : latest_)
    if (glimpse.name.find(word) != std::string::npos) parents.insert(glimpse.pid);
  std::vector<std::int32_t> children;
  if (parents.empty()) return children;
  for (const Glimpse& glimpse : latest_)
    if (glimpse.isOnTerminal && parents.contains(glimpse.parent)) children.push_back(glimpse.pid);
  std::ranges::sort(children);
  return children;
}

// Terminals of rarer drivers are named after their device, which the kernel lists by number.
std::string ProcProcessTable::terminalName(std::uint32_t device) {
  if (std::optional<std::string> name = ProcText::terminalName(device)) return *name;
  const std::lock_guard lock(lock_);
  const auto known = deviceNames_.find(device);
  if (known != deviceNames_.end()) return known->second;
  std::array<char, PATH_MAX> target;
  const std::string path =
      fmt::format("/sys/dev/char/{}:{}", ProcText::majorNumber(device), ProcText::minorNumber(device));
  const ssize_t size = readlink(path.c_str(), target.data(), target.size());
  if (size < 1) return "?";
  const std::string_view link(target.data(), static_cast<std::size_t>(size));
  return deviceNames_[device] = std::string(link.substr(link.find_last_of('/') + 1));
}

std::map<std::int32_t, std::string> ProcProcessTable::workingDirectories(
    const std::vector<std::int32_t>& pids) {
  std::map<std::int32_t, std::string> directories;
  const Descriptor root(open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!root.isOpen()) return directories;
  std::string buffer;
  for (const std::int32_t pid : pids)
    if (std::string path = ProcessFolder(root.get(), pid, buffer).link("cwd"); !path.empty())
      directories[pid] = std::move(path);
  return directories;
}

std::int32_t ProcProcessTable::ownPID() {
  return getpid();
}

// If the folder cannot be read (some machines hide processes of others), the number alone decides.
bool ProcProcessTable::isSameProcess(const ProcessIdentity& process) const {
  if (process.startTime == 0) return true;
  const Descriptor root(open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::string buffer(statLimit, '\0');
  const auto text = ProcessFolder(root.get(), process.pid, buffer).read("stat");
  const auto stat = text ? ProcText::parseStat(*text) : std::nullopt;
  return !stat || stat->startTime == process.startTime;
}

bool ProcProcessTable::exists(const ProcessIdentity& process) {
  if (process.pid < 1 || (kill(process.pid, 0) != 0 && errno == ESRCH)) return false;
  return isSameProcess(process);
}

// The descriptor is opened first: only then does a check of the number hold.
void ProcProcessTable::send(ProcessSignal signal, const ProcessIdentity& process) {
  // 0 and negative numbers mean process groups.
  if (process.pid < 1) return;
  const int number = signal == ProcessSignal::interrupt ? SIGINT : SIGTERM;
  const Descriptor held = openProcess(process.pid);
  const bool isOldKernel = !held.isOpen() && errno == ENOSYS;
  if ((!held.isOpen() && !isOldKernel) || !isSameProcess(process)) return;
  if (isOldKernel) {
    kill(process.pid, number);
  } else {
    signalProcess(held, number);
  }
}

}  // namespace quorl
