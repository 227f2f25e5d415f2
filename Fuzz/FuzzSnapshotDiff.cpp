// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include <QuorlHostCore/Agents/Terminals/SnapshotDiff.h>
#include <QuorlKit/Foundation/ByteView.h>

// The input is two screens, separated by the first NUL.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorl;
  const std::string_view text = textViewOf({data, size});
  const std::string_view previous = text.substr(0, text.find('\0'));
  const std::string_view current = text.substr(std::min(previous.size() + 1, text.size()));
  const std::string_view tail = SnapshotDiff::newTail(previous, current);
  if (!current.ends_with(tail)) std::abort();
  if (previous == current && !previous.empty() && !tail.empty()) std::abort();
  // The omitted lines end the first text and begin the second.
  std::string_view overlap = current.substr(0, current.size() - tail.size());
  if (overlap.ends_with('\n') && !tail.empty()) overlap.remove_suffix(1);
  const std::string_view shared = tail.empty() ? current : overlap;
  if (shared.size() < current.size() && !previous.ends_with(shared)) std::abort();
  const std::string normal = SnapshotDiff::normalised(current);
  if (SnapshotDiff::normalised(normal) != normal) std::abort();
  return 0;
}
