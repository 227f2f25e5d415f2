// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PosixFileStore.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include <QuorlHostPosix/SystemError.h>
#include <QuorlKit/Foundation/SecureRandom.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

// A temporary file this old belongs to a writer that was killed.
constexpr std::time_t staleSeconds = 3600;
constexpr std::string_view temporarySuffix = ".tmp";

std::unexpected<PortError> failed() {
  return std::unexpected(systemError(errno));
}

struct SplitPath {
  std::string folder;
  std::string name;
};

SplitPath split(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

std::string temporaryPrefix(const std::string& name) {
  return fmt::format(".{}.", name);
}

std::string temporaryName(const std::string& name) {
  std::array<std::uint8_t, 8> random{};
  SystemSecureRandom::shared().fill(random);
  return fmt::format("{}{:02x}{}", temporaryPrefix(name), fmt::join(random, ""), temporarySuffix);
}

// What writers of this file left behind when they were killed.
void removeStaleTemporaries(int folder, const std::string& name) {
  Descriptor copy(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!copy.isOpen()) return;
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(copy.get()), ::closedir);
  if (!listing) return;
  copy.release();
  const std::string prefix = temporaryPrefix(name);
  while (const dirent* entry = ::readdir(listing.get())) {
    const std::string_view found = entry->d_name;
    if (!found.starts_with(prefix) || !found.ends_with(temporarySuffix)) continue;
    struct stat facts{};
    if (::fstatat(folder, entry->d_name, &facts, AT_SYMLINK_NOFOLLOW) != 0) continue;
    if (S_ISREG(facts.st_mode) && facts.st_mtime + staleSeconds < ::time(nullptr))
      ::unlinkat(folder, entry->d_name, 0);
  }
}

std::expected<void, PortError> writeAll(int descriptor, ByteView bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return failed();
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return {};
}

std::expected<void, PortError> fillTemporary(int folder, const std::string& temporary, ByteView bytes) {
  const Descriptor file(
      ::openat(folder, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.isOpen()) return failed();
  if (::fchmod(file.get(), 0600) != 0) return failed();  // whatever the umask took away
  if (auto written = writeAll(file.get(), bytes); !written) return written;
  if (::fsync(file.get()) != 0) return failed();
  return {};
}

std::expected<Bytes, PortError> readUpTo(int descriptor, std::size_t limit, std::size_t expected) {
  Bytes bytes(expected);
  std::size_t size = 0;
  for (;;) {
    if (size == bytes.size()) bytes.resize(std::min(limit + 1, bytes.size() + 4096));
    const ssize_t count = ::read(descriptor, bytes.data() + size, bytes.size() - size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return failed();
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
    if (size > limit) return std::unexpected(systemError(EFBIG));
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

std::expected<Bytes, PortError> PosixFileStore::read(const std::string& path, std::size_t limit) {
  // O_NONBLOCK: opening a FIFO would wait for its writer.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file.isOpen()) return failed();
  struct stat facts{};
  if (::fstat(file.get(), &facts) != 0) return failed();
  if (S_ISDIR(facts.st_mode)) return std::unexpected(systemError(EISDIR));
  if (!S_ISREG(facts.st_mode)) return std::unexpected(PortError{"Not a regular file", EINVAL});
  const auto size = static_cast<std::size_t>(facts.st_size);
  if (size > limit) return std::unexpected(systemError(EFBIG));
  return readUpTo(file.get(), limit, size);
}

std::expected<void, PortError> PosixFileStore::writeAtomically(const std::string& path, ByteView bytes) {
  const auto [folderPath, name] = split(path);
  const Descriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen()) return failed();
  removeStaleTemporaries(folder.get(), name);
  const std::string temporary = temporaryName(name);
  auto result = fillTemporary(folder.get(), temporary, bytes);
  if (result && ::renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0)
    result = failed();
  if (!result) {
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    return result;
  }
  // Some file systems cannot sync a folder; the rename itself stands.
  if (::fsync(folder.get()) != 0 && errno != EINVAL) return failed();
  return {};
}

std::expected<void, PortError> PosixFileStore::createPrivateDirectory(const std::string& path) {
  for (std::size_t end = 1; end <= path.size(); ++end) {
    if (end < path.size() && path[end] != '/') continue;
    const std::string part = path.substr(0, end);
    if (::mkdir(part.c_str(), 0700) == 0 || errno == EEXIST) continue;
    struct stat facts{};
    const int error = errno;  // a read-only parent says EROFS or EACCES even where the folder exists
    if (::stat(part.c_str(), &facts) != 0) return std::unexpected(systemError(error));
  }
  struct stat facts{};
  if (::stat(path.c_str(), &facts) != 0) return failed();
  if (!S_ISDIR(facts.st_mode)) return std::unexpected(systemError(ENOTDIR));
  return {};
}

}  // namespace quorl
