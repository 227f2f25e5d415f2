// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <iterator>
#include <string>
#include <unordered_map>
#include <utility>

#include <QuorlHostCore/Ports/SessionFiles.h>

namespace quorl {

/// Values read from files, kept while the files do not change. A file is found by its path and compared by
/// size, date and identity. A file that is not requested between two calls of `forgetOthers` is removed, so
/// that memory follows the existing files.
///
/// *Queue*: the owner's; a value.
template <class Value>
class SessionFileCache {
 public:
  /// The value stored for the file in the state of `entry`. Nothing if it must be read.
  const Value* find(const std::string& path, const SessionFiles::Entry& entry) {
    const auto found = items_.find(path);
    if (found == items_.end() || !found->second.matches(entry)) return nullptr;
    found->second.wasAskedFor = true;
    return &found->second.value;
  }

  void remember(const std::string& path, const SessionFiles::Entry& entry, Value value) {
    items_.insert_or_assign(path, Item{.size = entry.size,
                                       .modified = entry.modified,
                                       .fileID = entry.fileID,
                                       .wasAskedFor = true,
                                       .value = std::move(value)});
  }

  void forgetOthers() {
    for (auto item = items_.begin(); item != items_.end();) {
      const bool stays = std::exchange(item->second.wasAskedFor, false);
      item = stays ? std::next(item) : items_.erase(item);
    }
  }

  std::size_t size() const { return items_.size(); }

 private:
  struct Item {
    std::uint64_t size = 0;
    Date modified;
    std::uint64_t fileID = 0;
    bool wasAskedFor = false;
    Value value;

    bool matches(const SessionFiles::Entry& entry) const {
      return size == entry.size && modified == entry.modified && fileID == entry.fileID;
    }
  };

  std::unordered_map<std::string, Item> items_;
};

}  // namespace quorl
