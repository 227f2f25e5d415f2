// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include <QuorlKit/Protocol/RecordCoding.h>

namespace quorl {

/// What a state file may hold. A larger one would not be read again, and everything in it would be lost.
inline constexpr std::size_t maxStateFileSize = 16U << 20;

/// Encodes a list of records with `encode` (a list in, bytes or an error out). Where that gives more than
/// `limit` bytes, the largest records are left out, as few as will do: the small ones are what a user has
/// many of. `leftOut` says how many.
template <class Record, class Encode>
auto encodeWithin(std::size_t limit, const std::vector<Record>& list, const Encode& encode,
                  std::size_t& leftOut) {
  leftOut = 0;
  auto bytes = encode(list);
  if (!bytes || bytes->size() <= limit) return bytes;
  std::vector<std::size_t> sizes;
  for (const Record& record : list) {
    const auto one = encodeRecord(record, JsonStyle::prettySorted);
    sizes.push_back(one ? one->size() : SIZE_MAX);
  }
  std::vector<Record> kept = list;
  while (bytes && bytes->size() > limit && !kept.empty()) {
    const auto largest = std::ranges::max_element(sizes);
    kept.erase(kept.begin() + (largest - sizes.begin()));
    sizes.erase(largest);
    ++leftOut;
    bytes = encode(kept);
  }
  return bytes;
}

}  // namespace quorl
