// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PosixFileStore.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QuorlHostPosix/SystemError.h>
#include <QuorlUnix/AtomicFile.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl {

namespace {

std::unexpected<PortError> failed() {
  return std::unexpected(systemError(errno));
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
  const auto written = writeFileAtomically(path, bytes, FileAccess::ownerOnly);
  if (!written) return std::unexpected(systemError(written.error().value()));
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
