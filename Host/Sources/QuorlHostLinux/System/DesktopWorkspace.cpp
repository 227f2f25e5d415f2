// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/DesktopWorkspace.h>

#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

#include <QuorlHostLinux/System/DesktopEntry.h>
#include <QuorlHostLinux/System/ProgramLauncher.h>
#include <QuorlHostPosix/PosixFileStore.h>
#include <QuorlHostPosix/UserFolders.h>

namespace quorl {

namespace {

constexpr std::size_t maxDesktopFile = 1'048'576;

bool isRegularFile(const std::string& path) {
  struct stat facts{};
  return ::stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode);
}

std::optional<DesktopEntry> readEntry(const std::string& path) {
  PosixFileStore files;
  const auto bytes = files.read(path, maxDesktopFile);
  if (!bytes) return std::nullopt;
  return parseDesktopEntry(textOf(*bytes));
}

}  // namespace

std::vector<std::string> currentDataFolders() {
  std::vector<std::string> folders{currentUserFolders().data};
  const auto listed = processEnvironment()("XDG_DATA_DIRS").value_or("");
  std::istringstream parts(listed.empty() ? "/usr/local/share:/usr/share" : listed);
  for (std::string part; std::getline(parts, part, ':');)
    if (part.starts_with('/')) folders.push_back(part);
  return folders;
}

std::optional<std::string> DesktopWorkspace::applicationPath(const std::string& bundleIdentifier) {
  for (const auto& folder : dataFolders_)
    for (const auto& candidate : desktopFileCandidates(bundleIdentifier)) {
      const std::string path = folder + "/applications/" + candidate;
      if (isRegularFile(path)) return path;
    }
  return std::nullopt;
}

void DesktopWorkspace::openApplication(const std::string& path) {
  if (!path.starts_with('/') || !isRegularFile(path)) return;
  if (!path.ends_with(".desktop")) {
    if (::access(path.c_str(), X_OK) == 0) launchProgram({path}, "", descriptorLimit_);
    return;
  }
  auto entry = readEntry(path);
  if (!entry) return;
  // Debian's name for whatever terminal is installed; the option is common to all of them.
  if (entry->needsTerminal) entry->arguments.insert(entry->arguments.begin(), {"x-terminal-emulator", "-e"});
  launchProgram(entry->arguments, entry->workingDirectory, descriptorLimit_);
}

}  // namespace quorl
