// SPDX-License-Identifier: GPL-3.0-or-later
#include "ParameterSets.h"

#include <vector>

#include <QuorlHostLinux/Media/NalUnits.h>

namespace quorl::test {

namespace {

constexpr std::uint32_t extendedAspectRatio = 255;

void skipCodes(BitReader& reader, std::uint32_t count) {
  for (std::uint32_t index = 0; index < count; ++index) reader.unsignedExpGolomb();
}

// The beginning of the usability information, which both standards share (annex E of each).
std::optional<std::uint32_t> chromaLocation(BitReader& reader) {
  if (reader.flag() && reader.bits(8) == extendedAspectRatio) reader.skip(32);
  if (reader.flag()) reader.skip(1);  // overscan
  if (reader.flag()) {
    reader.skip(4);                      // video format and range
    if (reader.flag()) reader.skip(24);  // colours
  }
  if (!reader.flag()) return std::nullopt;
  const std::uint32_t location = reader.unsignedExpGolomb();
  reader.unsignedExpGolomb();  // of the bottom field
  return location;
}

// ISO/IEC 14496-10, E.1.2.
void skipDecoderModel(BitReader& reader) {
  const std::uint32_t count = reader.unsignedExpGolomb() + 1;
  reader.skip(8);
  for (std::uint32_t index = 0; index < count && !reader.isExhausted(); ++index) {
    skipCodes(reader, 2);
    reader.skip(1);
  }
  reader.skip(20);
}

// ISO/IEC 14496-10, E.1.1.
void readUsability(BitReader& reader, StreamPromises& promises) {
  promises.chromaLocation = chromaLocation(reader);
  if (reader.flag()) reader.skip(65);  // timing
  const bool hasUnitModel = reader.flag();
  if (hasUnitModel) skipDecoderModel(reader);
  const bool hasSliceModel = reader.flag();
  if (hasSliceModel) skipDecoderModel(reader);
  if (hasUnitModel || hasSliceModel) reader.skip(1);
  reader.skip(1);              // picture structure
  if (!reader.flag()) return;  // bitstream_restriction_flag
  reader.skip(1);
  skipCodes(reader, 4);
  promises.reorderedPictures = reader.unsignedExpGolomb();
  promises.heldPictures = reader.unsignedExpGolomb();
}

bool hasChromaFormat(std::uint32_t profile) {
  for (const std::uint32_t high : {100U, 110U, 122U, 244U, 44U, 83U, 86U, 118U, 128U})
    if (profile == high) return true;
  return false;
}

// ISO/IEC 14496-10, 7.3.2.1.1.
std::optional<StreamPromises> promisesOfAvc(ByteView unit) {
  const Bytes bytes = withoutEmulationPrevention(unit.subspan(1));
  BitReader reader(bytes);
  const std::uint32_t profile = reader.bits(8);
  reader.skip(16);
  reader.unsignedExpGolomb();
  if (hasChromaFormat(profile)) {
    if (reader.unsignedExpGolomb() == 3) reader.skip(1);
    skipCodes(reader, 2);
    reader.skip(1);
    if (reader.flag()) return std::nullopt;  // scaling lists
  }
  reader.unsignedExpGolomb();
  const std::uint32_t orderType = reader.unsignedExpGolomb();
  if (orderType == 0) reader.unsignedExpGolomb();
  if (orderType == 1) {
    reader.skip(1);
    skipCodes(reader, 2);
    skipCodes(reader, reader.unsignedExpGolomb());
  }
  StreamPromises promises;
  promises.referencePictures = reader.unsignedExpGolomb();
  reader.skip(1);
  skipCodes(reader, 2);                // size
  if (!reader.flag()) reader.skip(1);  // interlaced
  reader.skip(1);
  if (reader.flag()) skipCodes(reader, 4);  // cropping
  if (reader.flag()) readUsability(reader, promises);
  promises.isComplete = !reader.isExhausted();
  return promises;
}

// ISO/IEC 23008-2, 7.3.3.
void skipProfiles(BitReader& reader, std::uint32_t subLayers) {
  constexpr std::size_t profileBits = 88;
  reader.skip(profileBits + 8);
  std::vector<std::pair<bool, bool>> present;
  for (std::uint32_t layer = 0; layer < subLayers; ++layer) {
    const bool hasProfile = reader.flag();
    present.emplace_back(hasProfile, reader.flag());
  }
  if (subLayers > 0) reader.skip(std::size_t{2} * (8 - subLayers));
  for (const auto& [hasProfile, hasLevel] : present)
    reader.skip((hasProfile ? profileBits : 0) + (hasLevel ? 8 : 0));
}

// ISO/IEC 23008-2, 7.3.7.
void skipReferenceSets(BitReader& reader) {
  const std::uint32_t count = reader.unsignedExpGolomb();
  std::uint32_t pictures = 0;  // of the set before
  for (std::uint32_t index = 0; index < count && !reader.isExhausted(); ++index) {
    if (index > 0 && reader.flag()) {
      reader.skip(1);
      reader.unsignedExpGolomb();
      std::uint32_t kept = 0;
      for (std::uint32_t picture = 0; picture <= pictures; ++picture)
        if (reader.flag() || reader.flag()) ++kept;
      pictures = kept;
      continue;
    }
    pictures = reader.unsignedExpGolomb();
    pictures += reader.unsignedExpGolomb();
    for (std::uint32_t picture = 0; picture < pictures && !reader.isExhausted(); ++picture) {
      reader.unsignedExpGolomb();
      reader.skip(1);
    }
  }
}

// ISO/IEC 23008-2, 7.3.2.2.1.
std::optional<StreamPromises> promisesOfHevc(ByteView unit) {
  const Bytes bytes = withoutEmulationPrevention(unit.subspan(2));
  BitReader reader(bytes);
  reader.skip(4);
  const std::uint32_t subLayers = reader.bits(3);
  reader.skip(1);
  skipProfiles(reader, subLayers);
  reader.unsignedExpGolomb();
  if (reader.unsignedExpGolomb() == 3) reader.skip(1);
  skipCodes(reader, 2);                     // size
  if (reader.flag()) skipCodes(reader, 4);  // cropping
  skipCodes(reader, 2);                     // depths
  const std::uint32_t orderBits = reader.unsignedExpGolomb() + 4;
  StreamPromises promises;
  const bool isForEachLayer = reader.flag();
  for (std::uint32_t layer = isForEachLayer ? 0 : subLayers; layer <= subLayers; ++layer) {
    promises.heldPictures = reader.unsignedExpGolomb();
    promises.reorderedPictures = reader.unsignedExpGolomb();
    promises.latencyIncreasePlusOne = reader.unsignedExpGolomb();
  }
  skipCodes(reader, 6);                                     // block sizes and depths
  if (reader.flag() && reader.flag()) return std::nullopt;  // scaling lists
  reader.skip(2);
  if (reader.flag()) {  // uncompressed samples
    reader.skip(8);
    skipCodes(reader, 2);
    reader.skip(1);
  }
  skipReferenceSets(reader);
  if (reader.flag()) {  // long-term references
    const std::uint32_t count = reader.unsignedExpGolomb();
    reader.skip(std::size_t{count} * (orderBits + 1));
  }
  reader.skip(2);
  if (reader.flag()) promises.chromaLocation = chromaLocation(reader);
  promises.isComplete = !reader.isExhausted();
  return promises;
}

std::size_t read16(const Bytes& bytes, std::size_t at) {
  return (static_cast<std::size_t>(bytes.at(at)) << 8) | bytes.at(at + 1);
}

// The first sequence parameter set of the record (ISO/IEC 14496-15, 5.3.3.1 and 8.3.3.1).
std::optional<ByteView> parameterSet(VideoCodec codec, const Bytes& record) {
  if (codec == VideoCodec::h264) return ByteView(record).subspan(8, read16(record, 6));
  constexpr std::uint8_t sequenceParameterSet = 33;
  std::size_t at = 23;
  for (int array = 0; array < record.at(22); ++array) {
    const bool isFound = (record.at(at) & 0x3F) == sequenceParameterSet;
    const std::size_t count = read16(record, at + 1);
    at += 3;
    if (isFound && count > 0) return ByteView(record).subspan(at + 2, read16(record, at));
    for (std::size_t index = 0; index < count; ++index) at += 2 + read16(record, at);
  }
  return std::nullopt;
}

}  // namespace

std::optional<StreamPromises> promisesOf(VideoCodec codec, const Bytes& record) {
  const auto set = parameterSet(codec, record);
  if (!set) return std::nullopt;
  return codec == VideoCodec::h264 ? promisesOfAvc(*set) : promisesOfHevc(*set);
}

}  // namespace quorl::test
