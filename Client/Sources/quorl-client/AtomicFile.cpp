// SPDX-License-Identifier: GPL-3.0-or-later
#include "AtomicFile.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fmt/format.h>

#include "FileDescriptor.h"

namespace quorl::client {
namespace {

std::unexpected<ClientError> cannotWrite(const std::filesystem::path& path, int status) {
  return failed(ExitCode::failure,
                fmt::format("{} cannot be written: {}", path.string(), std::strerror(status)),
                "Check that the folder exists, has room and belongs to you.");
}

std::filesystem::path folderOf(const std::filesystem::path& path) {
  return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

bool writeAll(int descriptor, ByteView content) {
  while (!content.empty()) {
    const auto count = ::write(descriptor, content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    content = content.subspan(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

Outcome<void> writeFileAtomically(const std::filesystem::path& path, ByteView content, mode_t mode) {
  const std::string temporary = fmt::format("{}.{}.tmp", path.string(), ::getpid());
  ::unlink(temporary.c_str());
  FileDescriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (!file.isOpen()) return cannotWrite(path, errno);
  if (!writeAll(file.get(), content) || ::fsync(file.get()) != 0 ||
      std::rename(temporary.c_str(), path.c_str()) != 0) {
    const int status = errno;
    ::unlink(temporary.c_str());
    return cannotWrite(path, status);
  }
  syncFolder(folderOf(path));
  return {};
}

void syncFolder(const std::filesystem::path& folder) {
  const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.isOpen()) ::fsync(descriptor.get());
}

}  // namespace quorl::client
