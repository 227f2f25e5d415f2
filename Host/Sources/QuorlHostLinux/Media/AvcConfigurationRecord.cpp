// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/AvcConfigurationRecord.h>

#include <algorithm>
#include <array>

#include <QuorlHostLinux/Media/NalUnits.h>

namespace quorl {

namespace {

// ISO/IEC 14496-10, table 7-1.
constexpr std::uint8_t spsType = 7;
constexpr std::uint8_t ppsType = 8;
constexpr std::size_t maximumSPSCount = 31;
constexpr std::size_t maximumPPSCount = 255;
constexpr std::size_t smallestSPS = 4;  // header, profile, flags, level
constexpr std::size_t largestSet = 0xFFFF;

std::vector<ByteView> unitsOfType(const std::vector<ByteView>& units, std::uint8_t type) {
  std::vector<ByteView> found;
  for (const ByteView unit : units)
    if (!unit.empty() && (unit[0] & 0x1F) == type && unit.size() <= largestSet) found.push_back(unit);
  return found;
}

bool hasChromaFields(std::uint8_t profile) {
  constexpr std::array<std::uint8_t, 5> highProfiles{100, 110, 122, 244, 44};
  return std::ranges::find(highProfiles, profile) != highProfiles.end();
}

void appendSet(Bytes& record, ByteView set) {
  record.push_back(static_cast<std::uint8_t>(set.size() >> 8));
  record.push_back(static_cast<std::uint8_t>(set.size()));
  record.insert(record.end(), set.begin(), set.end());
}

// Chroma format and bit depths, the first fields after profile, flags and level (7.3.2.1.1).
std::optional<Bytes> chromaFields(ByteView sps) {
  const Bytes payload = withoutEmulationPrevention(sps);
  BitReader reader(payload);
  reader.skip(smallestSPS * 8);
  reader.unsignedExpGolomb();  // seq_parameter_set_id
  const std::uint32_t chromaFormat = reader.unsignedExpGolomb();
  if (chromaFormat == 3) reader.skip(1);  // separate_colour_plane_flag
  const std::uint32_t lumaDepth = reader.unsignedExpGolomb();
  const std::uint32_t chromaDepth = reader.unsignedExpGolomb();
  if (reader.isExhausted() || chromaFormat > 3 || lumaDepth > 6 || chromaDepth > 6) return std::nullopt;
  return Bytes{static_cast<std::uint8_t>(0xFC | chromaFormat), static_cast<std::uint8_t>(0xF8 | lumaDepth),
               static_cast<std::uint8_t>(0xF8 | chromaDepth), 0};
}

}  // namespace

std::optional<Bytes> avcConfigurationRecord(const std::vector<ByteView>& nalUnits) {
  const auto spsUnits = unitsOfType(nalUnits, spsType);
  const auto ppsUnits = unitsOfType(nalUnits, ppsType);
  if (spsUnits.empty() || spsUnits.size() > maximumSPSCount) return std::nullopt;
  if (ppsUnits.empty() || ppsUnits.size() > maximumPPSCount) return std::nullopt;
  const ByteView sps = spsUnits.front();
  if (sps.size() < smallestSPS) return std::nullopt;

  Bytes record{1, sps[1], sps[2], sps[3], 0xFC | 3, static_cast<std::uint8_t>(0xE0 | spsUnits.size())};
  for (const ByteView set : spsUnits) appendSet(record, set);
  record.push_back(static_cast<std::uint8_t>(ppsUnits.size()));
  for (const ByteView set : ppsUnits) appendSet(record, set);
  if (!hasChromaFields(sps[1])) return record;
  const auto tail = chromaFields(sps);
  if (!tail) return std::nullopt;
  record.insert(record.end(), tail->begin(), tail->end());
  return record;
}

}  // namespace quorl
