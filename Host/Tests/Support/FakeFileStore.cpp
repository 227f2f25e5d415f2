// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/FakeFileStore.h>

namespace quorl::test {

std::expected<Bytes, PortError> FakeFileStore::read(const std::string& path, std::size_t limit) {
  const auto file = files.find(path);
  if (file == files.end()) return std::unexpected(PortError{"No such file or directory", 2});
  if (file->second.size() > limit) return std::unexpected(PortError{"File too large", 27});
  return file->second;
}

std::expected<void, PortError> FakeFileStore::writeAtomically(const std::string& path, ByteView bytes) {
  writes.push_back(path);
  if (failsWrites) return std::unexpected(PortError{"No space left on device", 28});
  files[path] = Bytes(bytes.begin(), bytes.end());
  return {};
}

std::expected<void, PortError> FakeFileStore::createPrivateDirectory(const std::string& path) {
  if (failsDirectories) return std::unexpected(PortError{"Read-only file system", 30});
  directories.push_back(path);
  return {};
}

std::string FakeFileStore::text(const std::string& path) const {
  const auto file = files.find(path);
  return file == files.end() ? std::string() : textOf(file->second);
}

}  // namespace quorl::test
