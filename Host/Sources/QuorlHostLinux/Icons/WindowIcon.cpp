// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Icons/WindowIcon.h>

#include <algorithm>
#include <limits>

namespace quorl {

namespace {

constexpr int mostIcons = 32;
constexpr std::uint32_t headerLength = 2;

struct Place {
  std::uint32_t offset = 0;  // of the pixels
  PixelSize size;

  int side() const { return std::min(size.width, size.height); }
  std::uint32_t length() const {
    return static_cast<std::uint32_t>(size.width) * static_cast<std::uint32_t>(size.height);
  }
};

std::vector<Place> placesIn(std::uint64_t length, const ReadIconNumbers& read) {
  constexpr std::uint32_t largest = largestIconSide;
  length = std::min<std::uint64_t>(length, std::numeric_limits<std::uint32_t>::max());
  std::vector<Place> places;
  std::uint64_t at = 0;
  while (places.size() < mostIcons && at + headerLength <= length) {
    const auto header = read(static_cast<std::uint32_t>(at), headerLength);
    if (header.size() != headerLength) break;
    const bool isSane = header[0] >= 1 && header[0] <= largest && header[1] >= 1 && header[1] <= largest;
    if (!isSane) break;
    const Place place{.offset = static_cast<std::uint32_t>(at + headerLength),
                      .size = {static_cast<int>(header[0]), static_cast<int>(header[1])}};
    at = std::uint64_t{place.offset} + place.length();
    if (at > length) break;
    places.push_back(place);
  }
  return places;
}

bool isBetter(const Place& a, const Place& b, int side) {
  const bool aSuffices = a.side() >= side;
  const bool bSuffices = b.side() >= side;
  if (aSuffices != bSuffices) return aSuffices;
  return aSuffices ? a.side() < b.side() : a.side() > b.side();
}

}  // namespace

std::optional<IconImage> bestWindowIcon(std::uint64_t length, const ReadIconNumbers& read, int side) {
  const auto places = placesIn(length, read);
  const auto best = std::ranges::min_element(
      places, [side](const Place& a, const Place& b) { return isBetter(a, b, side); });
  if (best == places.end()) return std::nullopt;
  IconImage image{.size = best->size, .pixels = read(best->offset, best->length())};
  if (image.pixels.size() != best->length()) return std::nullopt;
  return image;
}

}  // namespace quorl
