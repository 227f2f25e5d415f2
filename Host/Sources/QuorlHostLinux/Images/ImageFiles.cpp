// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Images/ImageFiles.h>

#include <QuorlHostLinux/Images/Codec.h>

namespace quorl {

std::optional<Bytes> ImageFiles::pngFromTIFF(ByteView tiff) {
  codec::Frame picture =
      codec::decode(AV_CODEC_ID_TIFF, tiff, {.mostPixels = mostPixels, .longestSide = longestSide});
  if (picture && !codec::isPNGFormat(picture->format))
    picture = codec::converted(picture, picture->width, picture->height, SWS_POINT);
  return picture ? codec::encodePNG(picture) : std::nullopt;
}

}  // namespace quorl
