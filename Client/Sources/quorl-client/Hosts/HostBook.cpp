// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Hosts/HostBook.h>

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Protocol/RecordCoding.h>
#include <fmt/format.h>

#include <QuorlUnix/AtomicFile.h>
#include <QuorlUnix/Descriptor.h>

namespace quorl::client {
namespace {

constexpr std::size_t maxFileSize = 4 << 20;

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return loweredASCII(a) == loweredASCII(b);
}

// The whole file or the errno.
std::expected<Bytes, int> readFile(const std::filesystem::path& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.isOpen()) return std::unexpected(errno);
  Bytes content;
  Bytes chunk(65'536);
  while (content.size() <= maxFileSize) {
    const auto count = ::read(file.get(), chunk.data(), chunk.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::unexpected(errno);
    if (count == 0) return content;
    content.insert(content.end(), chunk.begin(), chunk.begin() + count);
  }
  return std::unexpected(EFBIG);
}

}  // namespace

HostAddress PairedHost::endpoint() const {
  // Only an address by ssh has a scheme. One that was damaged by hand is looked up as a name, and not found.
  auto parsed = address.contains("://") ? HostAddress::parse(address) : std::nullopt;
  if (!parsed || !parsed->ssh) return {address, port, std::nullopt};
  parsed->port = port;
  return std::move(*parsed);
}

const PairedHost* HostBookContents::find(std::string_view text) const {
  const auto address = HostAddress::parse(text);
  if (address)
    for (const auto& host : hosts)
      if (isSameAddress(host.endpoint(), *address)) return &host;
  for (const auto& host : hosts)
    if (equalIgnoringCase(host.name, text)) return &host;
  const auto sameAddress = [&](const PairedHost& host) { return equalIgnoringCase(host.address, text); };
  if (std::ranges::count_if(hosts, sameAddress) != 1) return nullptr;
  return &*std::ranges::find_if(hosts, sameAddress);
}

Outcome<std::filesystem::path> HostBook::defaultFolder() {
  if (const char* configured = std::getenv("XDG_CONFIG_HOME"); configured != nullptr && configured[0] == '/')
    return std::filesystem::path(configured) / "quorl";
  const char* home = std::getenv("HOME");
  if (home == nullptr || home[0] == '\0') {
    const passwd* entry = ::getpwuid(::getuid());
    home = entry != nullptr ? entry->pw_dir : nullptr;
  }
  if (home == nullptr)
    return failed(ExitCode::failure, "there is no home directory to keep pairings in", "Set HOME.");
  return std::filesystem::path(home) / ".config" / "quorl";
}

Outcome<HostBookContents> HostBook::load() const {
  const auto content = readFile(path());
  if (!content && content.error() == ENOENT) return HostBookContents{};
  if (!content)
    return failed(ExitCode::failure,
                  fmt::format("{} cannot be read: {}", path().string(), std::strerror(content.error())),
                  "Check its owner and permissions.");
  auto decoded = decodeRecord<HostBookContents>(*content);
  if (!decoded)
    return failed(ExitCode::failure, fmt::format("{} is damaged: {}", path().string(), decoded.error().text),
                  "Repair it or move it away, then pair again.");
  return std::move(*decoded);
}

Outcome<void> HostBook::makeFolder() const {
  std::error_code error;
  if (folder_.has_parent_path()) std::filesystem::create_directories(folder_.parent_path(), error);
  if (!error && ::mkdir(folder_.c_str(), 0700) != 0 && errno != EEXIST)
    error = std::error_code(errno, std::generic_category());
  if (!error) return {};
  return failed(ExitCode::failure, fmt::format("{} cannot be made: {}", folder_.string(), error.message()),
                "Check the permissions of the folder above it.");
}

Outcome<HostBookContents> HostBook::update(const std::function<void(HostBookContents&)>& change) {
  if (auto made = makeFolder(); !made) return std::unexpected(made.error());
  // A separate file is locked, because hosts.json is replaced and not rewritten.
  const auto lockPath = folder_ / ".lock";
  const Descriptor lock(::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!lock.isOpen() || ::flock(lock.get(), LOCK_EX) != 0)
    return failed(ExitCode::failure,
                  fmt::format("{} cannot be locked: {}", lockPath.string(), std::strerror(errno)),
                  "Check the folder's permissions.");
  auto contents = load();
  if (!contents) return contents;
  if (contents->deviceID == UUID{}) contents->deviceID = UUID::random();
  change(*contents);
  const auto encoded = encodeRecord(*contents, JsonStyle::prettySorted);
  if (!encoded) return failed(ExitCode::failure, "the pairings cannot be written: " + encoded.error().text);
  if (const auto written = writeFileAtomically(path(), *encoded, FileAccess::ownerOnly); !written)
    return cannotWrite(path(), written.error().message());
  return contents;
}

}  // namespace quorl::client
