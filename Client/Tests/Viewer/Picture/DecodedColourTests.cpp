// SPDX-License-Identifier: GPL-3.0-or-later
// Colours of coded clips, from the decoder to the canvas.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <quorl-client/Video/Decoder.h>
#include <quorl-viewer/Picture/PicturePainter.h>

#include "../../Support/SampleVideo.h"
#include "Colours.h"

namespace quorl::viewer::test {
namespace {

using client::test::SampleVideo;

constexpr std::array colours{Colour{255, 0, 0},     Colour{0, 255, 0},   Colour{0, 0, 255},
                             Colour{255, 255, 255}, Colour{0, 0, 0},     Colour{200, 180, 20},
                             Colour{30, 60, 220},   Colour{250, 20, 240}};
constexpr int side = 32;

std::string source() {
  std::string text;
  for (std::size_t index = 0; index < colours.size(); ++index)
    text += fmt::format("color=c=0x{:02X}{:02X}{:02X}:s={}x{}:r=30[c{}];", int(colours[index][0]),
                        int(colours[index][1]), int(colours[index][2]), side, side, index);
  for (std::size_t index = 0; index < colours.size(); ++index) text += fmt::format("[c{}]", index);
  return text + fmt::format("hstack=inputs={},format=gbrp", colours.size());
}

// The largest difference between the middle of each field and its colour.
double error(client::Decoder& decoder, const SampleVideo& clip) {
  EXPECT_TRUE(decoder.configure(clip.config));
  auto decoded = decoder.decode(clip.pictures[0].data, 0);
  if (decoded.size() != 1) return 255;
  const auto planes = decoded[0].planes();
  if (!planes) return 255;
  Pixels pixels(planes->size);
  PicturePainter().paint(*planes, {pixels.data(), pixels.stride(), planes->size}, PixelRect::of(planes->size),
                         PixelRect::of(planes->size), PixelRect::of(planes->size));
  double worst = 0;
  for (std::size_t index = 0; index < colours.size(); ++index)
    worst = std::max(
        worst, difference(pixels.at(static_cast<int>(index) * side + side / 2, side / 2), colours[index]));
  return worst;
}

// The samples are rounded to 8 bits before they are coded, which moves a channel by up to 2.
constexpr double allowed = 3;

TEST(DecodedColours, areThoseOfTheSourceForEachMatrixAndRangeInOneStream) {
  client::Decoder decoder;
  for (const auto codec : {VideoCodec::h264, VideoCodec::hevc})
    for (const char* matrix : {"smpte170m", "bt709", "bt2020nc"})
      for (const char* range : {"tv", "pc"})
        EXPECT_LE(error(decoder, SampleVideo::encode(codec, source(), 1, {.matrix = matrix, .range = range})),
                  allowed)
            << matrix << ' ' << range;
}

TEST(DecodedColours, areThoseOfTheSourceWithTenBits) {
  client::Decoder decoder;
  EXPECT_LE(
      error(decoder, SampleVideo::encode(VideoCodec::hevc, source(), 1,
                                         {.matrix = "bt709", .range = "tv", .pixelFormat = "yuv420p10le"})),
      allowed);
}

TEST(DecodedColours, without420HaveNoPlanes) {
  client::Decoder decoder;
  const auto clip = SampleVideo::encode(VideoCodec::h264, source(), 1,
                                        {.matrix = "bt709", .range = "tv", .pixelFormat = "yuv444p"});
  ASSERT_TRUE(decoder.configure(clip.config));
  const auto decoded = decoder.decode(clip.pictures[0].data, 0);
  ASSERT_EQ(decoded.size(), 1U);
  EXPECT_FALSE(decoded[0].planes());
}

}  // namespace
}  // namespace quorl::viewer::test
