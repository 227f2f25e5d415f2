// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Files/HomeUserFiles.h>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include <QuorlHostLinux/Files/ArrivingFile.h>
#include <QuorlHostLinux/Files/HeldPlace.h>
#include <QuorlHostPosix/PosixFileStore.h>
#include <QuorlHostPosix/SystemError.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

constexpr std::size_t largestUserDirs = 65'536;
constexpr std::size_t passwordBuffer = 16'384;

std::string withoutFinalSlashes(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

// The value between quotes, as the shell reads it: a backslash makes the next character an ordinary one.
std::optional<std::string> unquoted(std::string_view value) {
  if (!value.starts_with('"')) return std::nullopt;
  std::string text;
  for (std::size_t at = 1; at < value.size(); ++at) {
    if (value[at] == '"') return text;
    if (value[at] == '\\' && at + 1 < value.size()) ++at;
    text += value[at];
  }
  return std::nullopt;
}

std::string_view withoutBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

bool hasNUL(const std::string& text) {
  return text.find('\0') != std::string::npos;
}

std::expected<void, PortError> makeFolder(const std::string& folder) {
  for (std::size_t end = 1; end <= folder.size(); ++end)
    if (end == folder.size() || folder[end] == '/') ::mkdir(folder.substr(0, end).c_str(), 0777);
  struct stat facts{};
  if (::stat(folder.c_str(), &facts) != 0) return std::unexpected(systemError(errno));
  if (!S_ISDIR(facts.st_mode)) return std::unexpected(systemError(ENOTDIR));
  return {};
}

}  // namespace

std::optional<std::string> downloadFolderIn(std::string_view userDirs, const std::string& home) {
  constexpr std::string_view key = "XDG_DOWNLOAD_DIR=";
  constexpr std::string_view homeVariable = "$HOME";
  std::optional<std::string> folder;
  while (!userDirs.empty()) {
    const auto end = std::min(userDirs.find('\n'), userDirs.size());
    const std::string_view line = withoutBlanks(userDirs.substr(0, end));
    userDirs.remove_prefix(std::min(end + 1, userDirs.size()));
    if (!line.starts_with(key)) continue;
    auto value = unquoted(line.substr(key.size()));
    if (!value) continue;
    if (value->starts_with("$HOME/") || *value == homeVariable) value->replace(0, homeVariable.size(), home);
    if (value->starts_with('/') && !hasNUL(*value)) folder = withoutFinalSlashes(std::move(*value));
  }
  if (folder == withoutFinalSlashes(home)) return std::nullopt;
  return folder;
}

HomeUserFiles::HomeUserFiles(Places places, Incoming incoming)
    : places_(std::move(places)), incoming_(incoming) {}

HomeUserFiles::Places HomeUserFiles::currentPlaces() {
  const UserFolders folders = currentUserFolders();
  const auto temporary = processEnvironment()("TMPDIR");
  return {.home = folders.home,
          .configuration = folders.configuration,
          .temporary = temporary && temporary->starts_with('/') ? *temporary : "/tmp"};
}

std::optional<std::string> HomeUserFiles::homeDirectoryOf(const std::string& userName) {
  if (hasNUL(userName)) return std::nullopt;
  std::vector<char> buffer(passwordBuffer);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwnam_r(userName.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
    return std::nullopt;
  return std::string(found->pw_dir);
}

// /run/media and /media: udisks(8). /mnt: mounts by the administrator (Filesystem Hierarchy Standard 3.0).
std::vector<std::string> HomeUserFiles::volumeDirectories() {
  return {"/media", "/run/media", "/mnt"};
}

std::optional<std::string> HomeUserFiles::downloadsDirectory() {
  const auto text = PosixFileStore().read(places_.configuration + "/user-dirs.dirs", largestUserDirs);
  if (!text) return std::nullopt;
  return downloadFolderIn(textViewOf(*text), places_.home);
}

std::string HomeUserFiles::canonicalPath(const std::string& path) {
  return resolvedPath(path);
}

std::expected<std::unique_ptr<UserPlace>, PortError> HomeUserFiles::find(const std::string& path) {
  if (hasNUL(path)) return std::unexpected(systemError(EINVAL));
  return HeldPlace::at(path);
}

std::expected<bool, PortError> HomeUserFiles::isTaken(const std::string& folder, const std::string& name) {
  if (hasNUL(name)) return std::unexpected(systemError(EINVAL));
  struct stat facts{};
  if (::lstat((folder + "/" + name).c_str(), &facts) == 0) return true;
  if (errno == ENOENT) return false;
  return std::unexpected(systemError(errno));
}

std::expected<std::unique_ptr<IncomingFile>, PortError> HomeUserFiles::create(const std::string& folder) {
  if (auto made = makeFolder(folder); !made) return std::unexpected(made.error());
  return ArrivingFile::in(folder, incoming_ == Incoming::hidden);
}

}  // namespace quorl
