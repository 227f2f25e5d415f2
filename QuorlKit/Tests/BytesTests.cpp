// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/Bytes.h>

#include <limits>

#include <gtest/gtest.h>

namespace quorl {
namespace {

const UUID sampleID{
    {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};

template <class... Value>
Bytes written(const Value&... values) {
  ByteWriter writer;
  (writer.put(values), ...);
  return writer.take();
}

TEST(ByteWriter, writesIntegersLittleEndian) {
  EXPECT_EQ(written(std::uint8_t{0xAB}), (Bytes{0xAB}));
  EXPECT_EQ(written(std::uint16_t{0x1234}), (Bytes{0x34, 0x12}));
  EXPECT_EQ(written(std::uint32_t{0x12345678}), (Bytes{0x78, 0x56, 0x34, 0x12}));
  EXPECT_EQ(written(std::uint64_t{0x0102030405060708}), (Bytes{8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST(ByteWriter, writesASignedIntegerAsTheSameBitsUnsigned) {
  EXPECT_EQ(written(std::int32_t{-2}), (Bytes{0xFE, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(written(std::int32_t{-2}), written(std::uint32_t{0xFFFFFFFE}));
}

TEST(ByteWriter, writesFloatsAsLittleEndianBits) {
  EXPECT_EQ(written(1.5F), (Bytes{0x00, 0x00, 0xC0, 0x3F}));
  EXPECT_EQ(written(-2.0), (Bytes{0, 0, 0, 0, 0, 0, 0x00, 0xC0}));
}

TEST(ByteWriter, writesBooleansAsOneAndZero) {
  EXPECT_EQ(written(true, false), (Bytes{0x01, 0x00}));
}

TEST(ByteWriter, writesAUUIDInTextualOrder) {
  EXPECT_EQ(written(sampleID), Bytes(sampleID.bytes.begin(), sampleID.bytes.end()));
}

TEST(ByteWriter, writesBytesWithoutAndBlobsWithALength) {
  ByteWriter writer;
  writer.putBytes(Bytes{1, 2});
  writer.putBlob(Bytes{3, 4, 5});
  writer.putString("é");
  EXPECT_EQ(writer.data(), (Bytes{1, 2, 3, 0, 0, 0, 3, 4, 5, 2, 0, 0, 0, 0xC3, 0xA9}));
}

TEST(ByteReader, readsBackWhatTheWriterWrote) {
  ByteWriter writer;
  writer.put(std::uint8_t{1});
  writer.put(std::uint16_t{2});
  writer.put(std::uint32_t{3});
  writer.put(std::uint64_t{4});
  writer.put(std::int32_t{-5});
  writer.put(0.25F);
  writer.put(-0.125);
  writer.put(true);
  writer.put(sampleID);
  writer.putBlob(Bytes{9, 8});
  writer.putString("text");
  writer.putBytes(Bytes{7});
  ByteReader reader(writer.data());
  EXPECT_EQ(reader.u8(), 1);
  EXPECT_EQ(reader.u16(), 2);
  EXPECT_EQ(reader.u32(), 3U);
  EXPECT_EQ(reader.u64(), 4U);
  EXPECT_EQ(reader.i32(), -5);
  EXPECT_EQ(reader.f32(), 0.25F);
  EXPECT_EQ(reader.f64(), -0.125);
  EXPECT_EQ(reader.boolean(), true);
  EXPECT_EQ(reader.uuid(), sampleID);
  const auto blob = reader.blob();
  ASSERT_TRUE(blob);
  EXPECT_EQ(Bytes(blob->begin(), blob->end()), (Bytes{9, 8}));
  EXPECT_EQ(reader.string(), "text");
  EXPECT_EQ(reader.remaining(), 1U);
  EXPECT_EQ(reader.rest().size(), 1U);
  EXPECT_EQ(reader.remaining(), 0U);
}

TEST(ByteReader, readsEveryByteButZeroAsTrue) {
  const Bytes bytes{0x02, 0x7F, 0x00};
  ByteReader reader(bytes);
  EXPECT_EQ(reader.boolean(), true);
  EXPECT_EQ(reader.boolean(), true);
  EXPECT_EQ(reader.boolean(), false);
}

TEST(ByteReader, failsWithBadValueForABlobThatIsNotUTF8) {
  const Bytes bytes{2, 0, 0, 0, 0xFF, 0xFE};
  ByteReader reader(bytes);
  EXPECT_EQ(reader.string(), std::unexpected(ReadError::badValue));
}

TEST(ByteReader, readsAStringOfLengthZeroAsEmptyText) {
  const Bytes bytes{0, 0, 0, 0};
  ByteReader reader(bytes);
  EXPECT_EQ(reader.string(), "");
}

TEST(ByteReader, returnsAnEmptyRestAtTheEnd) {
  const Bytes bytes{1};
  ByteReader reader(bytes);
  ASSERT_TRUE(reader.u8());
  EXPECT_TRUE(reader.rest().empty());
  EXPECT_TRUE(reader.rest().empty());
  EXPECT_TRUE(ByteReader(ByteView()).rest().empty());
}

TEST(ByteReader, keepsTheOffsetWhenAReadUnderflows) {
  const Bytes bytes{1, 2, 3};
  ByteReader reader(bytes);
  ASSERT_TRUE(reader.u8());
  EXPECT_EQ(reader.u32(), std::unexpected(ReadError::underflow));
  EXPECT_EQ(reader.u64(), std::unexpected(ReadError::underflow));
  EXPECT_EQ(reader.i32(), std::unexpected(ReadError::underflow));
  EXPECT_EQ(reader.f32(), std::unexpected(ReadError::underflow));
  EXPECT_EQ(reader.f64(), std::unexpected(ReadError::underflow));
  EXPECT_EQ(reader.uuid(), std::unexpected(ReadError::underflow));
  EXPECT_FALSE(reader.blob());
  EXPECT_EQ(reader.offset(), 1U);
  EXPECT_EQ(reader.u16(), 0x0302);
  EXPECT_EQ(reader.u8(), std::unexpected(ReadError::underflow));
  EXPECT_EQ(reader.boolean(), std::unexpected(ReadError::underflow));
  EXPECT_EQ(reader.offset(), 3U);
}

TEST(ByteReader, movesPastTheLengthOfABlobWithAShortBody) {
  const Bytes bytes{5, 0, 0, 0, 'a', 'b'};
  ByteReader reader(bytes);
  EXPECT_EQ(reader.string(), std::unexpected(ReadError::underflow));
  EXPECT_EQ(reader.offset(), 4U);
  EXPECT_EQ(reader.remaining(), 2U);
}

TEST(ByteReader, refusesALengthNearTheEndOfTheNumberRange) {
  const Bytes bytes{0xFF, 0xFF, 0xFF, 0xFF, 'a'};
  ByteReader reader(bytes);
  EXPECT_FALSE(reader.blob());
}

}  // namespace
}  // namespace quorl
