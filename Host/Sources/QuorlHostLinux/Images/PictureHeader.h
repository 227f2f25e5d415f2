// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

enum class PictureFormat : std::uint8_t { png, jpeg };

/// What the header of a picture says, read without a decoder.
struct PictureHeader {
  PictureFormat format = PictureFormat::png;
  std::uint32_t width = 0;
  std::uint32_t height = 0;

  bool operator==(const PictureHeader&) const = default;
};

/// Nothing for bytes that are neither a PNG nor a JPEG, and for a JPEG of more than `mostScans` scans, each
/// of which a decoder runs over the whole picture.
inline constexpr int mostScans = 64;
std::optional<PictureHeader> pictureHeader(ByteView file);

/// The PNG with only the chunks that its pixels need. Others may expand to a thousand times their size (zTXt,
/// iCCP). Nothing for a broken sequence of chunks.
std::optional<Bytes> essentialPNG(ByteView png);

}  // namespace quorl
