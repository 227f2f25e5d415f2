// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include <QuorlKit/Protocol/RecordCoding.h>

namespace quorl {

/// The size limit of a state file. A larger one could not be read again, and all of it would be lost.
inline constexpr std::size_t maxStateFileSize = 16U << 20;

/// Encodes a list of records with `encode` (a list in, bytes or an error out). If that gives more than
/// `limit` bytes, as few as possible of the largest records are left out. `leftOut` is their number.
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
