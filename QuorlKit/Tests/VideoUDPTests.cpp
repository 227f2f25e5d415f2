// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/VideoUDP.h>

#include <gtest/gtest.h>

namespace quorl::VideoUDP {
namespace {

Fragment fragmentOf(std::uint32_t frameID, std::uint16_t index, std::uint16_t count, Bytes payload) {
  return {1, frameID, index, count, VideoPacketFlags::keyframe, 1000 + frameID, std::move(payload)};
}

TEST(VideoUDP, hasTheHeaderFieldsAtTheirOffsets) {
  const auto datagrams =
      fragments(0x01020304, 0x05060708, VideoPacketFlags::keyframe, 0x1112131415161718, Bytes{0xAA});
  ASSERT_EQ(datagrams.size(), 1U);
  EXPECT_EQ(datagrams.front(), (Bytes{0xBD,                                            // magic
                                      0x04, 0x03, 0x02, 0x01,                          // streamID
                                      0x08, 0x07, 0x06, 0x05,                          // frameID
                                      0x00, 0x00,                                      // index
                                      0x01, 0x00,                                      // count
                                      0x01,                                            // flags
                                      0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11,  // ptsMicros
                                      0xAA}));
}

TEST(VideoUDP, fitsAPayloadOf1100BytesInOneFragment) {
  const auto datagrams = fragments(1, 1, {}, 0, Bytes(1100, 7));
  ASSERT_EQ(datagrams.size(), 1U);
  EXPECT_EQ(datagrams.front().size(), 1122U);
}

TEST(VideoUDP, cutsAPayloadOf1101BytesInTwo) {
  const auto datagrams = fragments(1, 1, {}, 0, Bytes(1101, 7));
  ASSERT_EQ(datagrams.size(), 2U);
  EXPECT_EQ(datagrams[0].size(), 1122U);
  EXPECT_EQ(datagrams[1].size(), 23U);
  EXPECT_EQ(parse(datagrams[0])->index, 0);
  EXPECT_EQ(parse(datagrams[1])->index, 1);
  EXPECT_EQ(parse(datagrams[1])->count, 2);
}

TEST(VideoUDP, countsAtMost65535Fragments) {
  EXPECT_EQ(fragmentCount(72088500), 65535);
  EXPECT_EQ(fragmentCount(72088501), std::nullopt);
  EXPECT_EQ(fragmentCount(std::numeric_limits<std::size_t>::max()), std::nullopt);
  const Bytes payload(72088501);
  EXPECT_EQ(fragments(1, 1, {}, 0, ByteView(payload).first(72088500)).size(), 65535U);
  EXPECT_TRUE(fragments(1, 1, {}, 0, payload).empty());
}

TEST(VideoUDP, sendsAnEmptyPayloadAsAHeaderThatParseRefuses) {
  const auto datagrams = fragments(1, 1, {}, 0, {});
  ASSERT_EQ(datagrams.size(), 1U);
  EXPECT_EQ(datagrams.front().size(), 22U);
  EXPECT_EQ(parse(datagrams.front()), std::nullopt);
}

TEST(VideoUDP, returnsTheSameDatagramsAsHeaderAndPayload) {
  Bytes payload(2500);
  for (std::size_t index = 0; index < payload.size(); ++index)
    payload[index] = static_cast<std::uint8_t>(index * 31);
  std::vector<Bytes> gathered;
  forEachFragment({3, 4, {}, 5}, payload, [&](ByteView header, ByteView chunk) {
    EXPECT_TRUE(chunk.data() >= payload.data() && chunk.data() < payload.data() + payload.size());
    Bytes& datagram = gathered.emplace_back(header.begin(), header.end());
    datagram.insert(datagram.end(), chunk.begin(), chunk.end());
  });
  EXPECT_EQ(gathered, fragments(3, 4, {}, 5, payload));
}

TEST(VideoUDP, refusesForeignDatagrams) {
  const Bytes good = fragments(1, 1, {}, 0, Bytes{1}).front();
  ASSERT_TRUE(parse(good));
  Bytes wrongMagic = good;
  wrongMagic[0] = 0xBC;
  EXPECT_EQ(parse(wrongMagic), std::nullopt);
  Bytes noCount = good;
  noCount[11] = 0;
  EXPECT_EQ(parse(noCount), std::nullopt);
  Bytes indexAtCount = good;
  indexAtCount[9] = 1;
  EXPECT_EQ(parse(indexAtCount), std::nullopt);
  EXPECT_EQ(parse({}), std::nullopt);
}

TEST(Reassembler, deliversFragmentsInReverseOrderWithTheLastArrival) {
  Bytes payload(3000);
  for (std::size_t index = 0; index < payload.size(); ++index)
    payload[index] = static_cast<std::uint8_t>(index / 11);
  const auto datagrams = fragments(9, 1, VideoPacketFlags::keyframe, 77, payload);
  ASSERT_EQ(datagrams.size(), 3U);
  Reassembler reassembler(4);
  EXPECT_EQ(reassembler.accept(*parse(datagrams[2])), std::nullopt);
  EXPECT_EQ(reassembler.accept(*parse(datagrams[1])), std::nullopt);
  EXPECT_EQ(reassembler.accept(*parse(datagrams[0])),
            (VideoPacket{9, VideoPacketFlags::keyframe, 77, payload}));
  EXPECT_EQ(reassembler.newestDelivered(), 1U);
}

TEST(Reassembler, replacesADuplicateWithoutCompletingTheFrame) {
  Reassembler reassembler(4);
  EXPECT_EQ(reassembler.accept(fragmentOf(1, 0, 2, {1})), std::nullopt);
  EXPECT_EQ(reassembler.accept(fragmentOf(1, 0, 2, {2})), std::nullopt);
  const auto packet = reassembler.accept(fragmentOf(1, 1, 2, {3}));
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->data, (Bytes{2, 3}));
}

TEST(Reassembler, dropsAFirstFragmentOfAnOlderFrameButCountsAPendingOne) {
  Reassembler reassembler(4);
  ASSERT_FALSE(reassembler.accept(fragmentOf(4, 0, 2, {1})));
  ASSERT_TRUE(reassembler.accept(fragmentOf(5, 0, 1, {9})));
  EXPECT_EQ(reassembler.accept(fragmentOf(3, 0, 1, {9})), std::nullopt);
  EXPECT_FALSE(reassembler.isPending(3));
  EXPECT_EQ(reassembler.accept(fragmentOf(5, 0, 1, {9})), std::nullopt);
  EXPECT_TRUE(reassembler.accept(fragmentOf(4, 1, 2, {2})));
  EXPECT_EQ(reassembler.newestDelivered(), 5U);
}

TEST(Reassembler, dropsAFirstFragmentOlderThanADeliveredFrame) {
  Reassembler reassembler(4);
  ASSERT_TRUE(reassembler.accept(fragmentOf(5, 0, 1, {9})));
  EXPECT_EQ(reassembler.accept(fragmentOf(4, 0, 1, {9})), std::nullopt);
  EXPECT_EQ(reassembler.pendingCount(), 0U);
}

TEST(Reassembler, evictsTheOldestFramesAboveItsWindow) {
  Reassembler reassembler(2);
  // Newest first, so that the window is already exceeded when the fragment of frame 4 comes.
  for (const std::uint32_t frameID : {3U, 2U, 1U})
    ASSERT_FALSE(reassembler.accept(fragmentOf(frameID, 0, 2, {1})));
  ASSERT_EQ(reassembler.pendingCount(), 3U);
  ASSERT_FALSE(reassembler.didDropFrame());
  ASSERT_FALSE(reassembler.accept(fragmentOf(4, 0, 2, {1})));
  EXPECT_FALSE(reassembler.isPending(1));
  EXPECT_FALSE(reassembler.isPending(2));
  EXPECT_TRUE(reassembler.isPending(3));
  EXPECT_TRUE(reassembler.isPending(4));
  EXPECT_TRUE(reassembler.didDropFrame());
}

TEST(Reassembler, keepsTheTwoNewestOfFourInOrder) {
  Reassembler reassembler(2);
  for (std::uint32_t frameID = 1; frameID <= 4; ++frameID)
    ASSERT_FALSE(reassembler.accept(fragmentOf(frameID, 0, 2, {1})));
  EXPECT_FALSE(reassembler.isPending(1));
  EXPECT_FALSE(reassembler.isPending(2));
  EXPECT_TRUE(reassembler.isPending(3));
  EXPECT_TRUE(reassembler.isPending(4));
  EXPECT_TRUE(reassembler.consumeDropFlag());
}

TEST(Reassembler, neverEvictsFramesNewerThanTheFragment) {
  Reassembler reassembler(1);
  for (const std::uint32_t frameID : {9U, 8U, 7U})
    ASSERT_FALSE(reassembler.accept(fragmentOf(frameID, 0, 2, {1})));
  EXPECT_EQ(reassembler.pendingCount(), 3U);
  EXPECT_FALSE(reassembler.didDropFrame());
}

TEST(Reassembler, reportsADropOnce) {
  Reassembler reassembler(1);
  EXPECT_FALSE(reassembler.consumeDropFlag());
  ASSERT_FALSE(reassembler.accept(fragmentOf(1, 0, 2, {1})));
  ASSERT_FALSE(reassembler.accept(fragmentOf(2, 0, 2, {1})));
  EXPECT_TRUE(reassembler.consumeDropFlag());
  EXPECT_FALSE(reassembler.consumeDropFlag());
}

TEST(Reassembler, keepsAFrameThatReceivedAForeignIndex) {
  Reassembler reassembler(4);
  ASSERT_FALSE(reassembler.accept(fragmentOf(1, 0, 2, {1})));
  EXPECT_EQ(reassembler.accept(fragmentOf(1, 5, 9, {2})), std::nullopt);
  EXPECT_TRUE(reassembler.isPending(1));
}

TEST(Reassembler, keepsTheFieldsOfTheFirstFragmentAndTheStreamOfTheLast) {
  Reassembler reassembler(4);
  ASSERT_FALSE(reassembler.accept({1, 1, 0, 2, {0x01}, 10, {1}}));
  EXPECT_EQ(reassembler.accept({2, 1, 1, 9, {0x80}, 20, {2}}), (VideoPacket{2, {0x01}, 10, {1, 2}}));
}

}  // namespace
}  // namespace quorl::VideoUDP
