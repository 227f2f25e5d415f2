// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Video/DecoderConfig.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

// Version, profile, compatibility, level, length size 4, one SPS of 4 bytes, one PPS of 2.
const Bytes avc{1, 0x42, 0xC0, 0x1E, 0xFF, 0xE1, 0, 4, 0x67, 0x42, 0xC0, 0x1E, 1, 0, 2, 0x68, 0xCE};

Bytes hevc() {
  Bytes record(22, 0);
  record[0] = 1;
  record[13] = 0xF0;
  record[15] = 0xFC;
  record[16] = 0xFD;
  record.push_back(1);  // one array
  for (const auto byte : {0xA0, 0, 1, 0, 2, 0x40, 0x01}) record.push_back(static_cast<std::uint8_t>(byte));
  return record;
}

TEST(DecoderConfig, recognisesTheCodecFromTheRecord) {
  EXPECT_EQ(codecOfConfigRecord(avc), VideoCodec::h264);
  EXPECT_EQ(codecOfConfigRecord(hevc()), VideoCodec::hevc);
}

TEST(DecoderConfig, rejectsEveryTruncatedRecord) {
  for (std::size_t size = 0; size < avc.size(); ++size)
    EXPECT_EQ(codecOfConfigRecord(ByteView(avc).first(size)), std::nullopt) << size;
  const auto record = hevc();
  for (std::size_t size = 0; size < record.size(); ++size)
    EXPECT_EQ(codecOfConfigRecord(ByteView(record).first(size)), std::nullopt) << size;
}

TEST(DecoderConfig, refusesOtherBytes) {
  EXPECT_EQ(codecOfConfigRecord(Bytes(64, 0)), std::nullopt);
  EXPECT_EQ(codecOfConfigRecord(Bytes(64, 0xFF)), std::nullopt);
  auto other = avc;
  other[0] = 2;
  EXPECT_EQ(codecOfConfigRecord(other), std::nullopt);
}

}  // namespace
}  // namespace quorl::client
