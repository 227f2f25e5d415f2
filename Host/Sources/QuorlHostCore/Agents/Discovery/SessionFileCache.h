// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <iterator>
#include <string>
#include <unordered_map>
#include <utility>

#include <QuorlHostCore/Ports/SessionFiles.h>

namespace quorl {

/// What was read out of files, for as long as they do not change: a file is named by its path and known by
/// its size, its date and its identity. A file that was not asked for between two calls of `forgetOthers` is
/// forgotten, so that memory follows the files that are there.
///
/// *Queue*: one at a time, its owner's. *Ownership*: a value.
template <class Value>
class SessionFileCache {
 public:
  /// The value that was remembered for the file as `entry` shows it; nothing where it must be read.
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
