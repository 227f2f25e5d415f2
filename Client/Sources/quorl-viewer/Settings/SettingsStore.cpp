// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Settings/SettingsStore.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <QuorlUnix/AtomicFile.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl::viewer {
namespace {

constexpr std::size_t largestFile = 65'536;

/// Nothing without a file. A FIFO or a device in its place is not waited for.
std::optional<Bytes> readFile(const std::filesystem::path& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
  if (!file.isOpen()) return std::nullopt;
  Bytes content(largestFile + 1);
  std::size_t used = 0;
  while (used < content.size()) {
    const auto count = ::read(file.get(), content.data() + used, content.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    used += static_cast<std::size_t>(count);
  }
  content.resize(used);
  return content;
}

}  // namespace

std::filesystem::path SettingsStore::path(const UUID& host) const {
  return folder_ / (host.text() + ".json");
}

HostSettings SettingsStore::load(const UUID& host) const {
  const auto file = path(host);
  const auto content = readFile(file);
  if (!content) return {};
  if (content->size() <= largestFile)
    if (auto settings = decodeSettings(*content)) return std::move(*settings);
  std::error_code ignored;
  std::filesystem::rename(file, file.string() + ".damaged", ignored);
  return {};
}

client::Outcome<void> SettingsStore::save(const UUID& host, const HostSettings& settings) const {
  std::error_code error;
  std::filesystem::create_directories(folder_.parent_path(), error);
  if (!error && ::mkdir(folder_.c_str(), 0700) != 0 && errno != EEXIST)
    error = std::error_code(errno, std::generic_category());
  if (error) return client::cannotWrite(folder_, error.message());
  const auto file = path(host);
  const auto previous = readFile(file).value_or(Bytes{});
  const auto written =
      writeFileAtomically(file.string(), encodeSettings(settings, previous), FileAccess::ownerOnly);
  if (!written) return client::cannotWrite(file, written.error().message());
  return {};
}

}  // namespace quorl::viewer
