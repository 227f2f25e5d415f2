// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Applications/DesktopWorkspace.h>

#include <sys/stat.h>
#include <unistd.h>

#include <QuorlHostLinux/Applications/DesktopFile.h>
#include <QuorlHostLinux/Applications/ProgramLauncher.h>

namespace quorl {

namespace {

bool isRegularFile(const std::string& path) {
  struct stat facts{};
  return ::stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode);
}

}  // namespace

std::optional<std::string> DesktopWorkspace::applicationPath(const std::string& bundleIdentifier) {
  return findDesktopFile(dataFolders_, bundleIdentifier);
}

void DesktopWorkspace::openApplication(const std::string& path) {
  if (!path.starts_with('/') || !isRegularFile(path)) return;
  if (!path.ends_with(".desktop")) {
    if (::access(path.c_str(), X_OK) == 0) launchProgram({path}, "", descriptorLimit_);
    return;
  }
  auto file = readDesktopFile(path);
  if (!file || file->arguments.empty()) return;
  // Debian's name for the installed terminal. All terminals have the option.
  if (file->needsTerminal) file->arguments.insert(file->arguments.begin(), {"x-terminal-emulator", "-e"});
  launchProgram(file->arguments, file->workingDirectory, descriptorLimit_);
}

}  // namespace quorl
