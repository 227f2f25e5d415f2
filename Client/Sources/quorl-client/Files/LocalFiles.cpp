// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Files/LocalFiles.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include <QuorlUnix/FolderEntries.h>
#include <quorl-client/Base/Printable.h>

namespace quorl::client {
namespace {

std::unexpected<ClientError> cannotRead(const std::filesystem::path& path, const char* cause) {
  return failed(ExitCode::usage, fmt::format("{} cannot be read: {}", printable(path.string()), cause),
                "Check that it is a file and that you may read it.");
}

std::unexpected<ClientError> alreadyExists(const std::filesystem::path& path) {
  return failed(ExitCode::failure, fmt::format("{} exists already", printable(path.string())),
                "Use --replace to replace it, or --to to choose another folder.");
}

}  // namespace

LocalSource::LocalSource(std::filesystem::path path, Descriptor file, std::uint64_t size)
    : path_(std::move(path)), file_(std::move(file)), size_(size) {}

Outcome<LocalSource> LocalSource::open(const std::filesystem::path& path) {
  Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat facts{};
  if (!file.isOpen() || ::fstat(file.get(), &facts) != 0) return cannotRead(path, std::strerror(errno));
  if (S_ISDIR(facts.st_mode)) return cannotRead(path, "it is a folder");
  if (!S_ISREG(facts.st_mode)) return cannotRead(path, "it is no regular file");
  return LocalSource(path, std::move(file), static_cast<std::uint64_t>(facts.st_size));
}

Outcome<void> LocalSource::read(Bytes& bytes, std::size_t limit) {
  bytes.resize(limit);
  for (;;) {
    const auto count = ::read(file_.get(), bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0)
      return failed(ExitCode::failure,
                    fmt::format("{} cannot be read: {}", printable(path_.string()), std::strerror(errno)));
    bytes.resize(static_cast<std::size_t>(count));
    return {};
  }
}

LocalTarget::LocalTarget(std::filesystem::path path, Existing existing, Descriptor folder, Descriptor file,
                         std::string hiddenName)
    : path_(std::move(path)),
      existing_(existing),
      folder_(std::move(folder)),
      file_(std::move(file)),
      hiddenName_(std::move(hiddenName)) {}

Outcome<void> LocalTarget::check(const std::filesystem::path& path, Existing existing) {
  if (existing == Existing::keep && entryExists(AT_FDCWD, path.string())) return alreadyExists(path);
  return {};
}

Outcome<LocalTarget> LocalTarget::create(std::filesystem::path path, Existing existing) {
  const auto folderPath = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
  Descriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen()) return cannotWrite(folderPath, std::strerror(errno));
  if (existing == Existing::keep && entryExists(folder.get(), path.filename())) return alreadyExists(path);
  std::string hiddenName = uniqueName(".quorl-", ".part");
  Descriptor file(
      ::openat(folder.get(), hiddenName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (!file.isOpen()) return cannotWrite(path, std::strerror(errno));
  return LocalTarget(std::move(path), existing, std::move(folder), std::move(file), std::move(hiddenName));
}

LocalTarget::~LocalTarget() {
  if (file_.isOpen()) ::unlinkat(folder_.get(), hiddenName_.c_str(), 0);
}

Outcome<void> LocalTarget::write(std::uint64_t offset, ByteView bytes) {
  while (!bytes.empty()) {
    const auto count = ::pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return cannotWrite(path_, std::strerror(errno));
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
  return {};
}

Outcome<void> LocalTarget::keep() {
  const std::string name = path_.filename();
  const bool replaces = existing_ == Existing::replace;
  const int error =
      replaces
          ? (::renameat(folder_.get(), hiddenName_.c_str(), folder_.get(), name.c_str()) == 0 ? 0 : errno)
          : moveWithoutReplacing(folder_.get(), hiddenName_, name);
  if (error == EEXIST && !replaces) return alreadyExists(path_);
  if (error != 0) return cannotWrite(path_, std::strerror(error));
  file_.reset();
  return {};
}

Outcome<std::string> localName(const std::string& offered) {
  std::string name = offered;
  std::ranges::replace(name, '/', '_');
  if (name.empty() || name == "." || name == ".." || name.find('\0') != std::string::npos)
    return failed(
        ExitCode::failure,
        fmt::format("the host sends a file with the name '{}', which no file can have", printable(offered)));
  return name;
}

}  // namespace quorl::client
