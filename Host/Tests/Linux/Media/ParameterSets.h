// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/Models.h>

namespace quorl::test {

/// What a sequence parameter set promises to a decoder.
struct StreamPromises {
  /// Where a bound on the pictures that are held back for their order is given, and the bound.
  std::optional<std::uint32_t> reorderedPictures;
  /// Pictures that a decoder holds, the one it decodes not counted.
  std::uint32_t heldPictures = 0;
  std::uint32_t referencePictures = 0;  // H.264 only
  /// HEVC's sps_max_latency_increase_plus1: 0 gives no bound, 1 adds nothing to the reordered pictures.
  std::uint32_t latencyIncreasePlusOne = 0;
  /// Where chroma samples lie (ISO/IEC 23091-2, 8.7): 0 beside the left luma samples, 1 in the middle of
  /// four.
  std::optional<std::uint32_t> chromaLocation;
  bool isComplete = false;  // the parser did not run over the end
};

/// Of a decoder configuration record ("avcC" or "hvcC"). Nothing without a parameter set, or with one that
/// uses scaling lists, which no encoder here writes.
std::optional<StreamPromises> promisesOf(VideoCodec codec, const Bytes& record);

}  // namespace quorl::test
