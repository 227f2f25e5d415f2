// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/CodecLevel.h>

#include <array>
#include <cmath>
#include <cstdint>

namespace quorl {

namespace {

constexpr std::int64_t picturesPerSecond = 60;

struct Level {
  int timesTen;
  std::int64_t samplesPerPicture;
  std::int64_t samplesPerSecond;
};

// ISO/IEC 14496-10, table A-1, in samples of luma, from the first level that allows 80 Mbit/s.
constexpr std::array<Level, 6> avcLevels{{
    {50, 22'080LL * 256, 589'824LL * 256},
    {51, 36'864LL * 256, 983'040LL * 256},
    {52, 36'864LL * 256, 2'073'600LL * 256},
    {60, 139'264LL * 256, 4'177'920LL * 256},
    {61, 139'264LL * 256, 8'355'840LL * 256},
    {62, 139'264LL * 256, 16'711'680LL * 256},
}};

// ISO/IEC 23008-2, tables A.8 and A.9; in the high tier all of these allow 80 Mbit/s or more.
constexpr std::array<Level, 6> hevcLevels{{
    {50, 8'912'896, 267'386'880},
    {51, 8'912'896, 534'773'760},
    {52, 8'912'896, 1'069'547'520},
    {60, 35'651'584, 1'069'547'520},
    {61, 35'651'584, 2'139'095'040},
    {62, 35'651'584, 4'278'190'080},
}};

template <std::size_t count>
std::optional<int> firstThatHolds(const std::array<Level, count>& levels, PixelSize size, int block) {
  const auto padded = [block](int side) {
    return static_cast<std::int64_t>((side + block - 1) / block * block);
  };
  const std::int64_t width = padded(size.width);
  const std::int64_t height = padded(size.height);
  const std::int64_t samples = width * height;
  for (const Level& level : levels) {
    // Neither side may be longer than the root of eight times the picture (A.3.1, A.4.1).
    const double longest = std::sqrt(8.0 * static_cast<double>(level.samplesPerPicture));
    const bool fits =
        samples <= level.samplesPerPicture && samples * picturesPerSecond <= level.samplesPerSecond;
    if (fits && static_cast<double>(std::max(width, height)) <= longest) return level.timesTen;
  }
  return std::nullopt;
}

}  // namespace

std::optional<int> avcLevel(PixelSize size) {
  return firstThatHolds(avcLevels, size, 16);
}

std::optional<int> hevcLevel(PixelSize size) {
  return firstThatHolds(hevcLevels, size, 8);
}

}  // namespace quorl
