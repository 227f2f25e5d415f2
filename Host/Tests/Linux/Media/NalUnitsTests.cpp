// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Media/NalUnits.h>

#include <gtest/gtest.h>

#include <QuorlHostLinux/Media/AvcConfigurationRecord.h>
#include <QuorlHostLinux/Media/CodecLevel.h>
#include <QuorlHostLinux/Media/HevcConfigurationRecord.h>

namespace quorl {
namespace {

TEST(NalUnits, areSplitAtTheirLengths) {
  const Bytes bytes{0, 0, 0, 2, 0x67, 1, 0, 0, 0, 1, 0x68, 0, 0, 0, 0};
  const auto units = lengthPrefixedNalUnits(bytes);
  ASSERT_EQ(units.size(), 3U);
  EXPECT_EQ(Bytes(units[0].begin(), units[0].end()), (Bytes{0x67, 1}));
  EXPECT_EQ(Bytes(units[1].begin(), units[1].end()), (Bytes{0x68}));
  EXPECT_TRUE(units[2].empty());
}

TEST(NalUnits, endAtALengthBeyondTheBuffer) {
  EXPECT_TRUE(lengthPrefixedNalUnits(Bytes{0, 0, 0, 3, 1, 2}).empty());
  EXPECT_TRUE(lengthPrefixedNalUnits(Bytes{0xFF, 0xFF, 0xFF, 0xFF, 1}).empty());
  EXPECT_TRUE(lengthPrefixedNalUnits(Bytes{0, 0, 0}).empty());
}

TEST(NalUnits, loseTheirEmulationPreventionBytes) {
  EXPECT_EQ(withoutEmulationPrevention(Bytes{1, 0, 0, 3, 1, 0, 0, 3, 0, 0, 3}),
            (Bytes{1, 0, 0, 1, 0, 0, 0, 0}));
  EXPECT_EQ(withoutEmulationPrevention(Bytes{0, 3, 0, 3}), (Bytes{0, 3, 0, 3}));
  EXPECT_EQ(withoutEmulationPrevention(Bytes{0, 0, 0, 3}), (Bytes{0, 0, 0}));
}

TEST(BitReader, readsExpGolombCodes) {
  // 1 | 010 | 011 | 00100 | 00111, then zeros.
  const Bytes bytes{0b10100110, 0b01000011, 0b10000000};
  BitReader reader(bytes);
  EXPECT_EQ(reader.unsignedExpGolomb(), 0U);
  EXPECT_EQ(reader.unsignedExpGolomb(), 1U);
  EXPECT_EQ(reader.unsignedExpGolomb(), 2U);
  EXPECT_EQ(reader.unsignedExpGolomb(), 3U);
  EXPECT_EQ(reader.unsignedExpGolomb(), 6U);
  EXPECT_FALSE(reader.isExhausted());
}

TEST(BitReader, readsZerosAfterTheEnd) {
  BitReader reader(Bytes{});
  EXPECT_EQ(reader.bits(32), 0U);
  EXPECT_TRUE(reader.isExhausted());
  reader.unsignedExpGolomb();
  EXPECT_TRUE(reader.isExhausted());
}

TEST(AvcConfigurationRecord, isBuiltByteByByte) {
  const Bytes sps{0x67, 66, 0xC0, 30, 0xAA};
  const Bytes pps{0x68, 0xCE};
  const Bytes other{0x06, 5};
  EXPECT_EQ(avcConfigurationRecord({other, sps, pps}),
            (Bytes{1, 66, 0xC0, 30, 0xFF, 0xE1, 0, 5, 0x67, 66, 0xC0, 30, 0xAA, 1, 0, 2, 0x68, 0xCE}));
}

TEST(AvcConfigurationRecord, containsTheChromaFormatOfAHighProfile) {
  // After the level: id 0 (1), chroma format 1 (010), depths 0 (1) and 0 (1).
  const Bytes sps{0x67, 100, 0, 30, 0b10101111};
  const auto record = avcConfigurationRecord({sps, Bytes{0x68}});
  ASSERT_TRUE(record);
  EXPECT_EQ(Bytes(record->end() - 4, record->end()), (Bytes{0xFD, 0xF8, 0xF8, 0}));
}

TEST(AvcConfigurationRecord, needsBothSetsAndAReadableOne) {
  const Bytes sps{0x67, 66, 0xC0, 30};
  EXPECT_FALSE(avcConfigurationRecord({}));
  EXPECT_FALSE(avcConfigurationRecord({sps}));
  EXPECT_FALSE(avcConfigurationRecord({Bytes{0x68}}));
  EXPECT_FALSE(avcConfigurationRecord({Bytes{0x67, 66}, Bytes{0x68}}));
  EXPECT_FALSE(avcConfigurationRecord({Bytes{0x67, 100, 0, 30}, Bytes{0x68}})) << "cut after the level";
}

TEST(HevcConfigurationRecord, needsAllSetsAndAReadableOne) {
  const Bytes vps{0x40, 1, 0};
  const Bytes pps{0x44, 1, 0};
  EXPECT_FALSE(hevcConfigurationRecord({}));
  EXPECT_FALSE(hevcConfigurationRecord({vps, pps}));
  EXPECT_FALSE(hevcConfigurationRecord({vps, Bytes{0x42, 1, 0}, pps}));
  Bytes ones(40, 0xFF);
  ones[0] = 0x42;
  EXPECT_FALSE(hevcConfigurationRecord({vps, Bytes(15, 0x42), pps})) << "cut after the level";
}

TEST(CodecLevel, growsWithThePicture) {
  EXPECT_EQ(avcLevel({1920, 1080}), 50);
  EXPECT_EQ(avcLevel({2560, 1440}), 51);
  EXPECT_EQ(avcLevel({3840, 2160}), 52);
  EXPECT_EQ(avcLevel({7680, 4320}), 61);
  EXPECT_EQ(hevcLevel({1920, 1080}), 50);
  EXPECT_EQ(hevcLevel({3840, 2160}), 51);
  EXPECT_FALSE(avcLevel({16384, 16384}));
  EXPECT_FALSE(hevcLevel({65536, 2})) << "longer than any level allows";
}

}  // namespace
}  // namespace quorl
