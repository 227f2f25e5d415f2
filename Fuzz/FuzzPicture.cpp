// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdint>
#include <cstdlib>

#include <QuorlHostLinux/Images/PictureHeader.h>
#include <QuorlHostLinux/Images/ScaledPictures.h>

// Any user of the machine may keep any bytes as the picture of an account.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorl;
  constexpr std::uint32_t side = 64;
  const auto header = pictureHeader({data, size});
  // Large pictures take long and try nothing else.
  constexpr std::uint64_t mostPixels = 65'536;
  if (header && std::uint64_t{header->width} * header->height > mostPixels) return 0;
  const auto png = ScaledPictures().scaledPNG({data, size}, side);
  if (!png) return 0;
  const auto scaled = pictureHeader(*png);
  if (!scaled || scaled->format != PictureFormat::png || scaled->width > side || scaled->height > side)
    std::abort();
  return 0;
}
