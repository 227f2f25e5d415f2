// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Picture/ColourMatrices.h>

#include <libyuv/convert_argb.h>
#include <libyuv/row.h>

namespace quorl::viewer {
namespace {

using client::ColourMatrix;
using client::ColourRange;
using libyuv::YuvConstants;

// The vector code loads the constants with aligned instructions.
struct alignas(64) Constants {
  YuvConstants value;
};

// libyuv limits the factor from Cb to blue to 128/64. In limited range it must be more: with 2.0 instead of
// 2.112 (BT.709) blue is wrong by up to 14 of 255. The field is an unsigned byte and the conversions take any
// value.
Constants withBlueFactor(const YuvConstants& original, std::uint8_t sixtyFourths) {
  Constants constants{original};
#if defined(__aarch64__) || defined(__arm__)
  constants.value.kUVCoeff[0] = sixtyFourths;
#else
  for (std::size_t index = 0; index < sizeof constants.value.kUVToB; index += 2)
    constants.value.kUVToB[index] = sixtyFourths;
#endif
  return constants;
}

}  // namespace

const YuvConstants& yuvConstants(ColourMatrix matrix, ColourRange range) {
  // 64 * 255 / 224 * 2 * (1 - Kb), Kb being 0.114, 0.0722 and 0.0593.
  static const Constants limited601 = withBlueFactor(libyuv::kYuvI601Constants, 129);
  static const Constants limited709 = withBlueFactor(libyuv::kYuvH709Constants, 135);
  static const Constants limited2020 = withBlueFactor(libyuv::kYuv2020Constants, 137);
  const bool isFull = range == ColourRange::full;
  switch (matrix) {
    case ColourMatrix::bt601:
      return isFull ? libyuv::kYuvJPEGConstants : limited601.value;
    case ColourMatrix::bt709:
      return isFull ? libyuv::kYuvF709Constants : limited709.value;
    case ColourMatrix::bt2020:
      return isFull ? libyuv::kYuvV2020Constants : limited2020.value;
  }
  return limited601.value;
}

}  // namespace quorl::viewer
