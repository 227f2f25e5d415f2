// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlUnix/AtomicFile.h>

#include <cerrno>
#include <ctime>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include <QuorlUnix/Descriptor.h>
#include <QuorlUnix/FolderEntries.h>

namespace quorl {

namespace {

// A temporary file this old belongs to a writer that was killed.
constexpr std::time_t staleSeconds = 3600;
constexpr std::string_view temporarySuffix = ".tmp";

std::unexpected<std::error_code> failed() {
  return std::unexpected(std::error_code(errno, std::generic_category()));
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

std::expected<void, std::error_code> writeAll(int descriptor, ByteView bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return failed();
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return {};
}

std::expected<void, std::error_code> fillTemporary(int folder, const std::string& temporary, ByteView bytes,
                                                   FileAccess access) {
  const bool isPrivate = access == FileAccess::ownerOnly;
  const Descriptor file(::openat(folder, temporary.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                 isPrivate ? 0600 : 0666));
  if (!file.isOpen()) return failed();
  if (isPrivate && ::fchmod(file.get(), 0600) != 0)
    return failed();  // the umask may have removed the owner's bits
  if (auto written = writeAll(file.get(), bytes); !written) return written;
  if (::fsync(file.get()) != 0) return failed();
  return {};
}

}  // namespace

std::expected<void, std::error_code> writeFileAtomically(const std::string& path, ByteView bytes,
                                                         FileAccess access) {
  const auto [folderPath, name] = split(path);
  const Descriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen()) return failed();
  removeStaleTemporaries(folder.get(), name);
  const std::string temporary = uniqueName(temporaryPrefix(name), temporarySuffix);
  auto result = fillTemporary(folder.get(), temporary, bytes, access);
  if (result && ::renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0)
    result = failed();
  if (!result) {
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    return result;
  }
  // Some file systems cannot sync a folder; the file has been replaced all the same.
  if (::fsync(folder.get()) != 0 && errno != EINVAL) return failed();
  return {};
}

}  // namespace quorl
