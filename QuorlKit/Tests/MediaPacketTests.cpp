// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/MediaPackets.h>

#include <gtest/gtest.h>

namespace quorl {
namespace {

const UUID sampleID{
    {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
const Bytes sampleIDBytes(sampleID.bytes.begin(), sampleID.bytes.end());

Bytes behind(Bytes prefix, const Bytes& rest) {
  prefix.insert(prefix.end(), rest.begin(), rest.end());
  return prefix;
}

const Bytes videoBytes{0x04, 0x03, 0x02, 0x01,                          // streamID
                       0x03,                                            // flags
                       0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11,  // ptsMicros
                       0xAA, 0xBB};                                     // data

TEST(VideoPacket, hasItsFieldsAtTheirOffsets) {
  const VideoPacket packet{0x01020304,
                           VideoPacketFlags::keyframe | VideoPacketFlags::codecConfig,
                           0x1112131415161718,
                           {0xAA, 0xBB}};
  EXPECT_EQ(packet.encoded(), videoBytes);
  EXPECT_EQ(VideoPacket::decode(videoBytes), packet);
}

TEST(VideoPacket, failsAtTwelveBytesAndHasEmptyDataAtThirteen) {
  EXPECT_EQ(VideoPacket::decode(ByteView(videoBytes).first(12)), std::unexpected(ReadError::underflow));
  const auto packet = VideoPacket::decode(ByteView(videoBytes).first(13));
  ASSERT_TRUE(packet);
  EXPECT_TRUE(packet->data.empty());
}

TEST(VideoPacket, keepsUnknownFlags) {
  Bytes bytes = videoBytes;
  bytes[4] = 0xF0;
  const auto packet = VideoPacket::decode(bytes);
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->flags.rawValue, 0xF0);
  EXPECT_FALSE(packet->flags.contains(VideoPacketFlags::keyframe));
  EXPECT_EQ(packet->encoded(), bytes);
}

TEST(VideoPacket, decodesIntoAViewAndIntoASharedBufferAlike) {
  const auto view = VideoPacketView::decode(videoBytes);
  ASSERT_TRUE(view);
  EXPECT_EQ(view->data.data(), videoBytes.data() + 13);
  EXPECT_EQ(view->encoded(), videoBytes);
  const auto shared = SharedVideoPacket::decode(videoBytes);
  ASSERT_TRUE(shared);
  EXPECT_EQ(*shared->data, (Bytes{0xAA, 0xBB}));
  EXPECT_EQ(shared->encoded(), videoBytes);
  EXPECT_EQ((SharedVideoPacket{1, {}, 2, nullptr}.encoded()), (VideoPacket{1, {}, 2, {}}.encoded()));
}

TEST(AudioPacket, hasItsFieldsAtTheirOffsets) {
  const Bytes bytes{0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11, 0xCC};
  const AudioPacket packet{0x1112131415161718, {0xCC}};
  EXPECT_EQ(packet.encoded(), bytes);
  EXPECT_EQ(AudioPacket::decode(bytes), packet);
  EXPECT_EQ(AudioPacket::decode(ByteView(bytes).first(7)), std::unexpected(ReadError::underflow));
  EXPECT_TRUE(AudioPacket::decode(ByteView(bytes).first(8))->data.empty());
  EXPECT_EQ(AudioPacketView::decode(bytes)->data.size(), 1U);
  EXPECT_EQ(*SharedAudioPacket::decode(bytes)->data, (Bytes{0xCC}));
}

TEST(TerminalPayload, hasItsFieldsAtTheirOffsets) {
  const Bytes bytes = behind(sampleIDBytes, {0x1B, '['});
  const TerminalPayload payload{sampleID, {0x1B, '['}};
  EXPECT_EQ(payload.encoded(), bytes);
  EXPECT_EQ(TerminalPayload::decode(bytes), payload);
  EXPECT_EQ(TerminalPayload::decode(ByteView(bytes).first(15)), std::unexpected(ReadError::underflow));
  EXPECT_TRUE(TerminalPayload::decode(ByteView(bytes).first(16))->data.empty());
  EXPECT_EQ(TerminalPayloadView::decode(bytes)->data.size(), 2U);
  EXPECT_EQ(*SharedTerminalPayload::decode(bytes)->data, (Bytes{0x1B, '['}));
}

TEST(FileChunk, hasItsFieldsAtTheirOffsets) {
  const Bytes bytes = behind(behind(sampleIDBytes, {0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11}), {0xDD});
  const FileChunk chunk{sampleID, 0x1112131415161718, {0xDD}};
  EXPECT_EQ(chunk.encoded(), bytes);
  EXPECT_EQ(FileChunk::decode(bytes), chunk);
  EXPECT_EQ(FileChunkView::decode(bytes)->data.data(), bytes.data() + 24);
  EXPECT_EQ(*SharedFileChunk::decode(bytes)->data, (Bytes{0xDD}));
}

TEST(FileChunk, mayHaveEmptyDataAtTwentyFourBytes) {
  const Bytes bytes = behind(sampleIDBytes, Bytes(8, 0));
  const auto chunk = FileChunk::decode(bytes);
  ASSERT_TRUE(chunk);
  EXPECT_TRUE(chunk->data.empty());
  EXPECT_EQ(chunk->encoded(), bytes);
  EXPECT_EQ(FileChunk::decode(ByteView(bytes).first(23)), std::unexpected(ReadError::underflow));
}

}  // namespace
}  // namespace quorl
