// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Images/ScaledPictures.h>

#include <algorithm>

#include <QuorlHostLinux/Images/Codec.h>
#include <QuorlHostLinux/Images/PictureHeader.h>

namespace quorl {

namespace {

constexpr codec::Limits limits{.mostPixels = ScaledPictures::mostPixels,
                               .longestSide = ScaledPictures::longestSide};

bool isWithinLimits(const PictureHeader& header) {
  const auto longer = std::max(header.width, header.height);
  return header.width > 0 && header.height > 0 && longer <= std::uint32_t{ScaledPictures::longestSide} &&
         std::int64_t{header.width} * header.height <= ScaledPictures::mostPixels;
}

codec::Frame decode(ByteView file) {
  const auto header = pictureHeader(file);
  if (!header || !isWithinLimits(*header)) return nullptr;
  if (header->format == PictureFormat::jpeg) return codec::decode(AV_CODEC_ID_MJPEG, file, limits);
  const auto png = essentialPNG(file);
  return png ? codec::decode(AV_CODEC_ID_PNG, *png, limits) : nullptr;
}

// A side of the scaled picture: at least one pixel.
int scaledSide(int side, int longer, int longestSide) {
  return std::max(1, static_cast<int>(std::int64_t{side} * longestSide / longer));
}

}  // namespace

std::optional<Bytes> ScaledPictures::scaledPNG(ByteView file, int wantedSide) {
  codec::Frame picture = decode(file);
  if (!picture) return std::nullopt;
  const int longer = std::max(picture->width, picture->height);
  if (longer > wantedSide)
    picture = codec::converted(picture, scaledSide(picture->width, longer, wantedSide),
                               scaledSide(picture->height, longer, wantedSide), SWS_AREA);
  else if (!codec::isPNGFormat(picture->format))
    picture = codec::converted(picture, picture->width, picture->height, SWS_POINT);
  return picture ? codec::encodePNG(picture) : std::nullopt;
}

}  // namespace quorl
