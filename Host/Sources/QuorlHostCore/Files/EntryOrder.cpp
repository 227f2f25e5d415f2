// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Files/EntryOrder.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>

#include <QuorlHostCore/Files/NameOrder.h>

namespace quorl {

void sortEntries(std::vector<RemoteFileEntry>& entries, const char* locale) {
  struct Keyed {
    std::string key;
    std::size_t position = 0;  // before the sort, for entries with equal names
    RemoteFileEntry entry;
  };
  const NameOrder order(locale);
  std::vector<Keyed> keyed;
  keyed.reserve(entries.size());
  for (RemoteFileEntry& entry : entries) {
    std::string key = order.keyOf(entry.name);
    keyed.push_back({std::move(key), keyed.size(), std::move(entry)});
  }
  std::ranges::sort(keyed, [](const Keyed& left, const Keyed& right) {
    return std::tuple(!left.entry.isDirectory, std::string_view(left.key), left.position) <
           std::tuple(!right.entry.isDirectory, std::string_view(right.key), right.position);
  });
  entries.clear();
  for (Keyed& item : keyed) entries.push_back(std::move(item.entry));
}

}  // namespace quorl
