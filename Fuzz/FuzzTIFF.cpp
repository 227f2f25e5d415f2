// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <array>
#include <cstdlib>

#include <QuorlHostLinux/Images/ImageFiles.h>

// Any program of the desktop may put any bytes on the clipboard as a TIFF.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorl;
  constexpr std::array<std::uint8_t, 8> signature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  const auto png = ImageFiles().pngFromTIFF({data, size});
  if (png &&
      (png->size() < signature.size() || !std::equal(signature.begin(), signature.end(), png->begin())))
    std::abort();
  return 0;
}
