// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/HevcConfigurationRecord.h>

#include <QuorlHostLinux/Media/NalUnits.h>

namespace quorl {

namespace {

// ISO/IEC 23008-2, table 7-1.
constexpr std::uint8_t vpsType = 32;
constexpr std::uint8_t spsType = 33;
constexpr std::uint8_t ppsType = 34;
constexpr std::size_t headerSize = 2;
constexpr std::size_t profileTierLevelSize = 12;
constexpr std::size_t largestSet = 0xFFFF;

struct SequenceFacts {
  Bytes profileTierLevel;
  std::uint32_t temporalLayers = 1;
  std::uint32_t temporalNesting = 0;
  std::uint32_t chromaFormat = 1;
  std::uint32_t lumaDepth = 0;    // less 8
  std::uint32_t chromaDepth = 0;  // less 8
};

std::vector<ByteView> unitsOfType(const std::vector<ByteView>& units, std::uint8_t type) {
  std::vector<ByteView> found;
  for (const ByteView unit : units)
    if (unit.size() > headerSize && ((unit[0] >> 1) & 0x3F) == type && unit.size() <= largestSet)
      found.push_back(unit);
  return found;
}

// Skips the levels of the temporal sub-layers (7.3.3).
void skipSubLayers(BitReader& reader, std::uint32_t subLayers) {
  std::size_t bits = 0;
  for (std::uint32_t layer = 0; layer < subLayers; ++layer) {
    if (reader.flag()) bits += 88;  // profile
    if (reader.flag()) bits += 8;   // level
  }
  if (subLayers > 0) reader.skip(2 * (8 - subLayers));
  reader.skip(bits);
}

// The SPS up to the bit depths (7.3.2.2.1).
std::optional<SequenceFacts> readSequence(ByteView sps) {
  const Bytes payload = withoutEmulationPrevention(sps);
  if (payload.size() < headerSize + 1 + profileTierLevelSize) return std::nullopt;
  SequenceFacts facts;
  BitReader reader(payload);
  reader.skip(headerSize * 8 + 4);  // sps_video_parameter_set_id
  const std::uint32_t subLayers = reader.bits(3);
  facts.temporalLayers = subLayers + 1;
  facts.temporalNesting = reader.bits(1);
  const auto profile = payload.begin() + headerSize + 1;
  facts.profileTierLevel.assign(profile, profile + profileTierLevelSize);
  reader.skip(profileTierLevelSize * 8);
  skipSubLayers(reader, subLayers);
  reader.unsignedExpGolomb();  // sps_seq_parameter_set_id
  facts.chromaFormat = reader.unsignedExpGolomb();
  if (facts.chromaFormat == 3) reader.skip(1);  // separate_colour_plane_flag
  reader.unsignedExpGolomb();                   // width
  reader.unsignedExpGolomb();                   // height
  if (reader.flag())                            // conformance window
    for (int side = 0; side < 4; ++side) reader.unsignedExpGolomb();
  facts.lumaDepth = reader.unsignedExpGolomb();
  facts.chromaDepth = reader.unsignedExpGolomb();
  const bool isPlausible = facts.chromaFormat <= 3 && facts.lumaDepth <= 8 && facts.chromaDepth <= 8;
  if (reader.isExhausted() || !isPlausible) return std::nullopt;
  return facts;
}

void append16(Bytes& record, std::size_t value) {
  record.push_back(static_cast<std::uint8_t>(value >> 8));
  record.push_back(static_cast<std::uint8_t>(value));
}

void appendArray(Bytes& record, std::uint8_t type, const std::vector<ByteView>& units) {
  record.push_back(0x80 | type);
  append16(record, units.size());
  for (const ByteView unit : units) {
    append16(record, unit.size());
    record.insert(record.end(), unit.begin(), unit.end());
  }
}

}  // namespace

std::optional<Bytes> hevcConfigurationRecord(const std::vector<ByteView>& nalUnits) {
  const auto vps = unitsOfType(nalUnits, vpsType);
  const auto sps = unitsOfType(nalUnits, spsType);
  const auto pps = unitsOfType(nalUnits, ppsType);
  if (vps.empty() || sps.empty() || pps.empty()) return std::nullopt;
  const auto facts = readSequence(sps.front());
  if (!facts) return std::nullopt;

  Bytes record{1};
  record.insert(record.end(), facts->profileTierLevel.begin(), facts->profileTierLevel.end());
  append16(record, 0xF000);
  record.push_back(0xFC);
  record.push_back(static_cast<std::uint8_t>(0xFC | facts->chromaFormat));
  record.push_back(static_cast<std::uint8_t>(0xF8 | facts->lumaDepth));
  record.push_back(static_cast<std::uint8_t>(0xF8 | facts->chromaDepth));
  append16(record, 0);
  record.push_back(static_cast<std::uint8_t>(facts->temporalLayers << 3 | facts->temporalNesting << 2 | 3));
  record.push_back(3);
  appendArray(record, vpsType, vps);
  appendArray(record, spsType, sps);
  appendArray(record, ppsType, pps);
  return record;
}

}  // namespace quorl
