// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/SeenOutput.h>

#include <algorithm>
#include <vector>

namespace quorl::client {
namespace {

// A shorter match may be chance.
constexpr std::size_t convincing = 64;

// For each position of `text`, how many bytes from there match the beginning of `text` (the Z function).
// Linear.
std::vector<std::uint32_t> agreements(const Bytes& text) {
  std::vector<std::uint32_t> result(text.size(), 0);
  std::size_t left = 0;
  std::size_t right = 0;
  for (std::size_t at = 1; at < text.size(); ++at) {
    std::size_t length = at < right ? std::min<std::size_t>(right - at, result[at - left]) : 0;
    while (at + length < text.size() && text[length] == text[at + length]) ++length;
    if (at + length > right) {
      left = at;
      right = at + length;
    }
    result[at] = static_cast<std::uint32_t>(length);
  }
  return result;
}

}  // namespace

void SeenOutput::append(ByteView output) {
  if (output.size() > replayLimit) output = output.last(replayLimit);
  if (bytes_.size() + output.size() > 2 * replayLimit) {
    const auto kept = replayLimit - std::min(output.size(), replayLimit);
    bytes_.erase(bytes_.begin(), bytes_.end() - static_cast<std::ptrdiff_t>(std::min(kept, bytes_.size())));
  }
  bytes_.insert(bytes_.end(), output.begin(), output.end());
}

ByteView SeenOutput::tail() const {
  const ByteView all(bytes_);
  return all.last(std::min(all.size(), replayLimit));
}

SeenOutput::Join SeenOutput::join(ByteView first) const {
  using Kind = Join::Kind;
  const auto seen = tail();
  const auto notFound = first.size() > pieceLimit ? Join{Kind::gap, 0} : Join{Kind::live, 0};
  if (seen.empty()) return {Kind::follows, 0};
  if (first.size() > 2 * replayLimit) return notFound;
  // Both texts are reversed, so the match at the position of byte p of `first` is the number of bytes before
  // p that are also the last bytes shown.
  Bytes text(seen.rbegin(), seen.rend());
  text.insert(text.end(), first.rbegin(), first.rend());
  const auto lengths = agreements(text);
  std::size_t best = 0;
  std::size_t newFrom = 0;
  for (std::size_t end = 1; end <= first.size(); ++end) {
    const auto place = seen.size() + first.size() - end;
    const auto agreed = std::min<std::size_t>({lengths[place], seen.size(), end});
    // It counts only if it reaches back to the beginning of one of the two.
    if (agreed != std::min(seen.size(), end) || agreed <= best) continue;
    if (agreed < convincing && agreed != end) continue;
    if (agreed < convincing && agreed != seen.size()) continue;
    best = agreed;
    newFrom = end;
  }
  return best > 0 ? Join{Kind::follows, newFrom} : notFound;
}

}  // namespace quorl::client
