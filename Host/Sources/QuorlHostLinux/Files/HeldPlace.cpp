// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Files/HeldPlace.h>

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include <QuorlHostPosix/SystemError.h>

namespace quorl {

namespace {

// As many as the kernel follows (path_resolution(7)).
constexpr int mostLinks = 40;

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

std::string procPath(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

std::optional<std::string> linkTarget(const std::string& path) {
  std::array<char, PATH_MAX> target;
  const ssize_t size = readlink(path.c_str(), target.data(), target.size());
  if (size < 1) return std::nullopt;
  return std::string(target.data(), static_cast<std::size_t>(size));
}

UserPlace::Entry described(const struct stat& facts) {
  return {.name = {},
          .isDirectory = S_ISDIR(facts.st_mode),
          .isLink = S_ISLNK(facts.st_mode),
          .byteCount = facts.st_size > 0 ? static_cast<std::uint64_t>(facts.st_size) : 0,
          .modified = {static_cast<double>(facts.st_mtim.tv_sec) +
                       static_cast<double>(facts.st_mtim.tv_nsec) / 1e9}};
}

class OpenFile final : public OutgoingFile {
 public:
  OpenFile(Descriptor file, std::uint64_t size) : file_(std::move(file)), size_(size) {}

  std::uint64_t size() const override { return size_; }
  std::expected<std::size_t, PortError> read(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
    for (;;) {
      const ssize_t count = pread(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
      if (count >= 0) return static_cast<std::size_t>(count);
      if (errno != EINTR) return std::unexpected(systemError(errno));
    }
  }

 private:
  const Descriptor file_;
  const std::uint64_t size_;
};

// The last component is resolved if it is a link that leads nowhere, else kept below its resolved folder.
std::string resolvedMissing(const std::string& path, int& links);

std::string resolved(const std::string& path, int& links) {
  const Descriptor place(open(path.c_str(), O_PATH | O_CLOEXEC));
  if (place.isOpen())
    if (auto canonical = linkTarget(procPath(place.get()))) return *canonical;
  return resolvedMissing(path, links);
}

std::string resolvedMissing(const std::string& path, int& links) {
  const auto end = path.find_last_not_of('/');
  if (end == std::string::npos) return "/";
  const auto slash = path.rfind('/', end);
  const std::string name = path.substr(slash + 1, end - slash);
  const std::string above = path.substr(0, slash + 1);
  std::string folder = resolved(above, links);
  const std::string prefix = folder == "/" ? folder : folder + "/";
  if (name == ".") return folder;
  if (name == "..")
    return folder == "/" ? folder
                         : resolved(folder.substr(0, std::max<std::size_t>(folder.rfind('/'), 1)), links);
  const auto target = linkTarget(prefix + name);
  if (!target || --links < 0) return prefix + name;
  return resolved(target->starts_with('/') ? *target : prefix + *target, links);
}

}  // namespace

std::string resolvedPath(const std::string& path) {
  // A longer path, or one that the kernel would cut at a NUL, leads nowhere.
  if (path.size() >= PATH_MAX || path.find('\0') != std::string::npos || !path.starts_with('/')) return {};
  int links = mostLinks;
  return resolved(path, links);
}

std::expected<std::unique_ptr<UserPlace>, PortError> HeldPlace::at(const std::string& path) {
  Descriptor place(open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!place.isOpen()) return std::unexpected(systemError(errno));
  struct stat facts{};
  if (fstat(place.get(), &facts) != 0) return std::unexpected(systemError(errno));
  auto canonical = linkTarget(procPath(place.get()));
  if (!canonical) return std::unexpected(systemError(errno));
  // The path of a removed file says so at its end; it is not the path of any file.
  if (facts.st_nlink == 0) return std::unexpected(systemError(ENOENT));
  return std::unique_ptr<UserPlace>(new HeldPlace(std::move(place), facts, std::move(*canonical)));
}

HeldPlace::HeldPlace(Descriptor place, const struct stat& facts, std::string canonicalPath)
    : place_(std::move(place)), facts_(facts), canonicalPath_(std::move(canonicalPath)) {}

UserPlace::Kind HeldPlace::kind() const {
  if (S_ISDIR(facts_.st_mode)) return Kind::directory;
  return S_ISREG(facts_.st_mode) ? Kind::file : Kind::other;
}

UserPlace::Entry HeldPlace::facts() const {
  return described(facts_);
}

bool HeldPlace::isReadable() const {
  return faccessat(AT_FDCWD, procPath(place_.get()).c_str(), R_OK, AT_EACCESS) == 0;
}

std::expected<std::unique_ptr<OutgoingFile>, PortError> HeldPlace::openForReading() {
  if (kind() != Kind::file) return std::unexpected(PortError{"Not a regular file", EINVAL});
  Descriptor file(open(procPath(place_.get()).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat facts{};
  if (!file.isOpen() || fstat(file.get(), &facts) != 0) return std::unexpected(systemError(errno));
  const auto size = static_cast<std::uint64_t>(facts.st_size);
  return std::make_unique<OpenFile>(std::move(file), size);
}

std::expected<std::vector<UserPlace::Entry>, PortError> HeldPlace::entries(std::size_t limit) {
  if (kind() != Kind::directory) return std::unexpected(systemError(ENOTDIR));
  Descriptor folder(open(procPath(place_.get()).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen()) return std::unexpected(systemError(errno));
  const std::unique_ptr<DIR, CloseDirectory> stream(fdopendir(folder.get()));
  if (!stream) return std::unexpected(systemError(errno));
  folder.release();

  std::vector<Entry> found;
  while (found.size() < limit) {
    errno = 0;
    const dirent* item = readdir(stream.get());
    if (!item && errno != 0 && found.empty()) return std::unexpected(systemError(errno));
    if (!item) break;
    const std::string_view name = item->d_name;
    if (name == "." || name == "..") continue;
    struct stat facts{};
    if (fstatat(dirfd(stream.get()), item->d_name, &facts, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) != 0)
      continue;
    found.push_back(described(facts));
    found.back().name = name;
  }
  return found;
}

}  // namespace quorl
