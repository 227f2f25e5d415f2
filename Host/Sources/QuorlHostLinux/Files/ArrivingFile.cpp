// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Files/ArrivingFile.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>

#include <QuorlHostPosix/SystemError.h>
#include <QuorlUnix/FolderEntries.h>

namespace quorl {

namespace {

constexpr std::string_view hiddenPrefix = ".quorl-";
constexpr std::string_view hiddenSuffix = ".part";
constexpr mode_t mode = 0666;  // less the umask, as for any new file

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

bool isHiddenName(std::string_view name) {
  return name.starts_with(hiddenPrefix) && name.ends_with(hiddenSuffix);
}

// A transfer in progress, also one of another process, holds the lock.
void removeUnlocked(int folder, const char* name) {
  const Descriptor file(openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (file.isOpen() && flock(file.get(), LOCK_EX | LOCK_NB) == 0) unlinkat(folder, name, 0);
}

void removeLeftovers(int folder) {
  Descriptor copy(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!copy.isOpen()) return;
  const std::unique_ptr<DIR, CloseDirectory> listing(fdopendir(copy.get()));
  if (!listing) return;
  copy.release();
  while (const dirent* entry = readdir(listing.get()))
    if (isHiddenName(entry->d_name)) removeUnlocked(folder, entry->d_name);
}

// These say that the file system has no files without a name; old kernels take the flag for O_DIRECTORY.
bool meansUnsupported(int error) {
  return error == EOPNOTSUPP || error == EISDIR || error == EINVAL || error == ENOENT;
}

}  // namespace

std::expected<std::unique_ptr<IncomingFile>, PortError> ArrivingFile::in(const std::string& folderPath,
                                                                         bool needsHiddenName) {
  Descriptor folder(open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen()) return std::unexpected(systemError(errno));
  if (!needsHiddenName) {
    Descriptor file(openat(folder.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
    if (file.isOpen())
      return std::unique_ptr<IncomingFile>(new ArrivingFile(std::move(folder), std::move(file), {}));
    if (!meansUnsupported(errno)) return std::unexpected(systemError(errno));
  }
  removeLeftovers(folder.get());
  std::string name = uniqueName(hiddenPrefix, hiddenSuffix);
  Descriptor file(
      openat(folder.get(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (!file.isOpen()) return std::unexpected(systemError(errno));
  flock(file.get(), LOCK_EX | LOCK_NB);
  return std::unique_ptr<IncomingFile>(new ArrivingFile(std::move(folder), std::move(file), std::move(name)));
}

ArrivingFile::ArrivingFile(Descriptor folder, Descriptor file, std::string hiddenName)
    : folder_(std::move(folder)), file_(std::move(file)), hiddenName_(std::move(hiddenName)) {}

ArrivingFile::~ArrivingFile() {
  if (!hiddenName_.empty()) unlinkat(folder_.get(), hiddenName_.c_str(), 0);
}

std::expected<void, PortError> ArrivingFile::write(std::uint64_t offset, ByteView bytes) {
  constexpr auto largestOffset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  if (offset > largestOffset || bytes.size() > largestOffset - offset)
    return std::unexpected(systemError(EFBIG));
  while (!bytes.empty()) {
    const ssize_t count = pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::unexpected(systemError(errno));
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
  return {};
}

std::expected<std::size_t, PortError> ArrivingFile::read(std::uint64_t offset,
                                                         std::span<std::uint8_t> bytes) {
  for (;;) {
    const ssize_t count = pread(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) return std::unexpected(systemError(errno));
  }
}

// Without a name, through /proc, as open(2) describes for O_TMPFILE: linking the descriptor itself needs a
// privilege.
int ArrivingFile::link(const std::string& name) {
  if (!hiddenName_.empty()) return moveWithoutReplacing(folder_.get(), hiddenName_, name);
  const std::string self = "/proc/self/fd/" + std::to_string(file_.get());
  return linkat(AT_FDCWD, self.c_str(), folder_.get(), name.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
}

std::expected<IncomingFile::Kept, PortError> ArrivingFile::keep(const std::string& name) {
  const int error = link(name);
  if (error == EEXIST) return Kept::nameIsTaken;
  if (error != 0) return std::unexpected(systemError(error));
  hiddenName_.clear();
  return Kept::yes;
}

}  // namespace quorl
