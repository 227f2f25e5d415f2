// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/Models.h>

namespace quorl::test {

/// The limits that a sequence parameter set declares to a decoder.
struct StreamPromises {
  /// The limit on pictures that are delayed for reordering, if declared.
  std::optional<std::uint32_t> reorderedPictures;
  /// Pictures that a decoder holds, without the one it decodes.
  std::uint32_t heldPictures = 0;
  std::uint32_t referencePictures = 0;  // H.264 only
  /// HEVC's sps_max_latency_increase_plus1: 0 gives no bound, 1 adds nothing to the reordered pictures.
  std::uint32_t latencyIncreasePlusOne = 0;
  /// The location of chroma samples (ISO/IEC 23091-2, 8.7): 0 beside the left luma samples, 1 in the middle
  /// of four.
  std::optional<std::uint32_t> chromaLocation;
  bool isComplete = false;  // the parser did not reach the end
};

/// Parses a decoder configuration record ("avcC" or "hvcC"). Nothing without a parameter set, or with one
/// that uses scaling lists, which no encoder here writes.
std::optional<StreamPromises> promisesOf(VideoCodec codec, const Bytes& record);

}  // namespace quorl::test
