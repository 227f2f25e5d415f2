// SPDX-License-Identifier: GPL-3.0-or-later
#include <Support/FakeSessionFiles.h>

#include <algorithm>

namespace quorl::test {

namespace {

const PortError notThere{.description = "no such file or directory", .status = 2};

}  // namespace

void FakeSessionFiles::write(const std::string& path, std::string text, Date modified) {
  makeDirectory(path.substr(0, path.find_last_of('/')));
  files_[path] = {.text = std::move(text), .modified = modified, .id = ++lastID_};
}

void FakeSessionFiles::makeDirectory(const std::string& path) {
  for (std::string folder = path; !folder.empty(); folder.resize(folder.find_last_of('/')))
    directories_.insert(folder);
}

std::optional<SessionFiles::Entry> FakeSessionFiles::entryAt(const std::string& path) const {
  Entry entry{.name = path.substr(path.find_last_of('/') + 1)};
  if (const auto file = files_.find(path); file != files_.end()) {
    entry.isRegular = true;
    entry.size = file->second.text.size();
    entry.modified = file->second.modified;
    entry.fileID = file->second.id;
    return entry;
  }
  entry.isDirectory = directories_.contains(path);
  if (entry.isDirectory || others_.contains(path)) return entry;
  return std::nullopt;
}

std::expected<std::vector<SessionFiles::Entry>, PortError> FakeSessionFiles::list(
    const std::string& directory) {
  if (!isDirectory(directory)) return std::unexpected(notThere);
  std::vector<Entry> entries;
  const auto addChildren = [&](const auto& paths, const auto& pathOf) {
    for (const auto& item : paths) {
      const std::string& path = pathOf(item);
      const std::size_t slash = path.find_last_of('/');
      if (path.substr(0, slash) == directory && path[slash + 1] != '.') entries.push_back(*entryAt(path));
    }
  };
  addChildren(files_, [](const auto& item) -> const std::string& { return item.first; });
  addChildren(directories_, [](const auto& item) -> const std::string& { return item; });
  addChildren(others_, [](const auto& item) -> const std::string& { return item; });
  std::ranges::sort(entries, {}, &Entry::name);
  return entries;
}

bool FakeSessionFiles::exists(const std::string& path) {
  return path == "/" || entryAt(path).has_value();
}

bool FakeSessionFiles::isDirectory(const std::string& path) {
  return path == "/" || directories_.contains(path);
}

std::expected<Bytes, PortError> FakeSessionFiles::read(const std::string& path, std::uint64_t offset,
                                                       std::size_t length) {
  ++reads;
  const auto file = files_.find(path);
  if (file == files_.end() || locked_.contains(path)) return std::unexpected(notThere);
  const std::string& text = file->second.text;
  return bytesOf(std::string_view(text).substr(std::min<std::size_t>(offset, text.size()), length));
}

}  // namespace quorl::test
