// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Agents/HomeSessionFiles.h>

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include <QuorlHostPosix/SystemError.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

struct FreeText {
  void operator()(char* text) const { free(text); }
};

std::optional<std::string> resolved(const std::string& path) {
  const std::unique_ptr<char, FreeText> text(realpath(path.c_str(), nullptr));
  if (!text) return std::nullopt;
  return std::string(text.get());
}

bool isBeneath(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && path.size() > folder.size() && path[folder.size()] == '/';
}

void fill(SessionFiles::Entry& entry, const struct stat& facts) {
  entry.isDirectory = S_ISDIR(facts.st_mode);
  entry.isRegular = S_ISREG(facts.st_mode);
  entry.size = facts.st_size > 0 ? static_cast<std::uint64_t>(facts.st_size) : 0;
  entry.modified = {static_cast<double>(facts.st_mtim.tv_sec) +
                    static_cast<double>(facts.st_mtim.tv_nsec) / 1e9};
  entry.fileID = facts.st_ino;
}

/// The current path of an open descriptor, even if the path it was opened by has changed (Linux manual,
/// proc(5)).
std::string pathOf(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

std::optional<std::string> canonicalPathOf(int descriptor) {
  std::array<char, PATH_MAX> target;
  const ssize_t size = readlink(pathOf(descriptor).c_str(), target.data(), target.size());
  if (size < 1) return std::nullopt;
  return std::string(target.data(), static_cast<std::size_t>(size));
}

std::expected<Bytes, PortError> readAt(int descriptor, std::uint64_t offset, std::size_t length) {
  Bytes bytes(length);
  std::size_t size = 0;
  while (size < length) {
    const ssize_t count =
        pread(descriptor, bytes.data() + size, length - size, static_cast<off_t>(offset + size));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::unexpected(systemError(errno));
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

HomeSessionFiles::HomeSessionFiles(std::string home) : home_(std::move(home)) {}

/// A file is accepted if it is below its own folder or below the home directory, with links resolved.
bool HomeSessionFiles::mayRead(const std::string& canonical, const std::string& directory) {
  const std::optional<std::string> folder = resolved(directory);
  if (folder && isBeneath(canonical, *folder)) return true;
  const std::optional<std::string> home = resolved(home_);
  return home && isBeneath(canonical, *home);
}

std::expected<std::vector<SessionFiles::Entry>, PortError> HomeSessionFiles::list(
    const std::string& directory) {
  Descriptor descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK));
  if (!descriptor.isOpen()) return std::unexpected(systemError(errno));
  const std::unique_ptr<DIR, CloseDirectory> stream(fdopendir(descriptor.get()));
  if (!stream) return std::unexpected(systemError(errno));
  descriptor.release();

  std::vector<Entry> entries;
  while (const dirent* item = readdir(stream.get())) {
    if (item->d_name[0] == '.') continue;
    struct stat facts{};
    if (fstatat(dirfd(stream.get()), item->d_name, &facts, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) != 0)
      continue;
    Entry entry{.name = item->d_name};
    fill(entry, facts);
    if (S_ISLNK(facts.st_mode)) {
      entry.isLink = true;
      const std::optional<std::string> target = resolved(directory + "/" + entry.name);
      if (target && mayRead(*target, directory) && stat(target->c_str(), &facts) == 0) fill(entry, facts);
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

bool HomeSessionFiles::exists(const std::string& path) {
  struct stat facts{};
  return stat(path.c_str(), &facts) == 0;
}

bool HomeSessionFiles::isDirectory(const std::string& path) {
  struct stat facts{};
  return stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

std::expected<Bytes, PortError> HomeSessionFiles::read(const std::string& path, std::uint64_t offset,
                                                       std::size_t length) {
  const Descriptor place(open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!place.isOpen()) return std::unexpected(systemError(errno));
  struct stat facts{};
  if (fstat(place.get(), &facts) != 0) return std::unexpected(systemError(errno));
  const std::optional<std::string> canonical = canonicalPathOf(place.get());
  const std::size_t slash = path.find_last_of('/');
  if (!S_ISREG(facts.st_mode) || !canonical || slash == std::string::npos ||
      !mayRead(*canonical, path.substr(0, slash + 1)))
    return std::unexpected(systemError(EACCES));
  const Descriptor file(open(pathOf(place.get()).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.isOpen()) return std::unexpected(systemError(errno));
  return readAt(file.get(), offset, length);
}

std::string HomeSessionFiles::canonicalPath(const std::string& path) {
  std::error_code error;
  std::filesystem::path canonical = std::filesystem::weakly_canonical(path, error);
  if (error) canonical = std::filesystem::path(path).lexically_normal();
  if (!canonical.has_filename() && canonical.has_relative_path()) canonical = canonical.parent_path();
  return canonical.string();
}

}  // namespace quorl
