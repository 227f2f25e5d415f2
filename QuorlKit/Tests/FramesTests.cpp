// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/Frames.h>

#include <gtest/gtest.h>

#include <QuorlKit/WireProtocol.h>

namespace quorl {
namespace {

Bytes joined(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

TEST(WireProtocol, hasTheAgreedConstants) {
  EXPECT_EQ(WireProtocol::version, 4U);
  EXPECT_EQ(WireProtocol::defaultPort, 47900);
  EXPECT_EQ(WireProtocol::bonjourType, "_quorl._tcp");
  EXPECT_EQ(WireProtocol::maxFrameLength, 33554432U);
}

TEST(FrameType, hasExactlyEightValues) {
  const Bytes known{0x01, 0x02, 0x03, 0x10, 0x11, 0x20, 0x30, 0x40};
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool isKnown = std::ranges::find(known, byte) != known.end();
    EXPECT_EQ(frameTypeFromByte(static_cast<std::uint8_t>(byte)).has_value(), isKnown) << byte;
  }
}

TEST(Frame, putsTypeAndBigEndianLengthBeforeThePayload) {
  EXPECT_EQ((Frame{FrameType::video, {7, 8}}.encoded()), (Bytes{0x10, 0, 0, 0, 2, 7, 8}));
  EXPECT_EQ(frameHeader(FrameType::file, 0x01020304), (std::array<std::uint8_t, 5>{0x40, 1, 2, 3, 4}));
  EXPECT_EQ((Frame{FrameType::ping, {}}.encoded()), (Bytes{0x02, 0, 0, 0, 0}));
}

TEST(Deframer, returnsAFrameWithItsLastByte) {
  const Frame frame{FrameType::control, bytesOf("{\"bye\":{}}")};
  const Bytes stream = frame.encoded();
  Deframer deframer;
  for (std::size_t index = 0; index + 1 < stream.size(); ++index) {
    const auto frames = deframer.feed(ByteView(stream).subspan(index, 1));
    ASSERT_TRUE(frames);
    EXPECT_TRUE(frames->empty()) << index;
  }
  EXPECT_EQ(deframer.feed(ByteView(stream).last(1)), std::vector{frame});
  EXPECT_EQ(deframer.bufferedByteCount(), 0U);
}

TEST(Deframer, keepsHalfAFrameAfterTwoWholeOnes) {
  const Frame first{FrameType::ping, {1, 2, 3}};
  const Frame second{FrameType::terminal, {}};
  const Frame third{FrameType::audio, {4, 5, 6, 7}};
  const Bytes last = third.encoded();
  Deframer deframer;
  const auto frames =
      deframer.feed(joined({first.encoded(), second.encoded(), Bytes(last.begin(), last.begin() + 7)}));
  EXPECT_EQ(frames, (std::vector{first, second}));
  EXPECT_EQ(deframer.bufferedByteCount(), 7U);
  EXPECT_EQ(deframer.feed(ByteView(last).subspan(7)), std::vector{third});
}

TEST(Deframer, rejectsAnUnknownTypeWhateverTheLength) {
  for (const std::uint8_t length : {std::uint8_t{0}, std::uint8_t{0xFF}}) {
    Deframer deframer;
    EXPECT_EQ(deframer.feed(Bytes{0x05, length, length, length, length}),
              std::unexpected(FrameError::unknownType(5)));
  }
}

TEST(Deframer, waitsForAllFiveBytesOfAHeader) {
  Deframer deframer;
  EXPECT_EQ(deframer.feed(Bytes{0x05, 0, 0, 0}), std::vector<Frame>{});
  EXPECT_EQ(deframer.feed(Bytes{0}), std::unexpected(FrameError::unknownType(5)));
}

TEST(Deframer, rejectsALengthAboveTheLimitBeforeAnyPayload) {
  Deframer deframer;
  const auto frames = deframer.feed(Bytes{0x01, 0x02, 0x00, 0x00, 0x01});
  ASSERT_FALSE(frames);
  EXPECT_EQ(frames.error(), FrameError::oversized(33554433));
  EXPECT_EQ(frames.error().description(), "oversized(33554433)");
}

TEST(Deframer, waitsForThePayloadOfALengthAtTheLimit) {
  Deframer deframer;
  EXPECT_EQ(deframer.feed(Bytes{0x01, 0x02, 0x00, 0x00, 0x00}), std::vector<Frame>{});
  const Bytes half(WireProtocol::maxFrameLength / 2, 0x5A);
  EXPECT_EQ(deframer.feed(half), std::vector<Frame>{});
  const auto frames = deframer.feed(half);
  ASSERT_TRUE(frames);
  ASSERT_EQ(frames->size(), 1U);
  EXPECT_EQ(frames->front().payload, Bytes(WireProtocol::maxFrameLength, 0x5A));
}

TEST(Deframer, dropsAValidFrameFollowedByABadHeaderInTheSameCall) {
  const Bytes good = Frame{FrameType::pong, {1}}.encoded();
  Deframer deframer;
  EXPECT_EQ(deframer.feed(joined({good, {0x99, 0, 0, 0, 0}})),
            std::unexpected(FrameError::unknownType(0x99)));
}

TEST(Deframer, judgesAllHeadersWithoutTakingBytes) {
  const Bytes ping = Frame{FrameType::ping, {1, 2}}.encoded();
  const Bytes half{0x01, 0, 0};
  Deframer deframer;
  EXPECT_EQ(deframer.judge(joined({ping, half})), std::nullopt);
  EXPECT_EQ(deframer.bufferedByteCount(), 0U);
  const Bytes stream = joined({ping, half});
  ByteView rest = stream;
  EXPECT_EQ(deframer.next(rest), (Frame{FrameType::ping, {1, 2}}));
  EXPECT_EQ(rest.size(), half.size());
  EXPECT_EQ(deframer.next(rest), std::nullopt);
  EXPECT_TRUE(rest.empty());
  EXPECT_EQ(deframer.judge(joined({{0, 1, 9}, ping, {0x99, 0, 0, 0, 0}})), FrameError::unknownType(0x99));
  EXPECT_EQ(deframer.judge(ping), FrameError::unknownType(0x99)) << "the error is kept";
}

TEST(Deframer, judgesHeadersAfterAPartialPayload) {
  const Bytes frame = Frame{FrameType::file, Bytes(10, 0x99)}.encoded();
  for (std::size_t cut = 0; cut <= frame.size(); ++cut) {
    Deframer deframer;
    ASSERT_TRUE(deframer.feed(ByteView(frame).first(cut)));
    const Bytes rest = joined({Bytes(frame.begin() + static_cast<std::ptrdiff_t>(cut), frame.end()), {9}});
    EXPECT_EQ(deframer.judge(rest), std::nullopt) << cut;
    EXPECT_EQ(deframer.judge(joined({rest, {0, 0, 0, 0}})), FrameError::unknownType(9)) << cut;
  }
}

TEST(Deframer, keepsReturningTheSameError) {
  Deframer deframer;
  ASSERT_FALSE(deframer.feed(Bytes{0x77, 0, 0, 0, 0}));
  EXPECT_EQ(deframer.feed(Frame{FrameType::ping, {}}.encoded()),
            std::unexpected(FrameError::unknownType(0x77)));
  EXPECT_EQ(deframer.feed({}), std::unexpected(FrameError::unknownType(0x77)));
  EXPECT_EQ(FrameError::unknownType(0x77).description(), "unknownType(119)");
}

TEST(Deframer, allocatesForReceivedBytesNotForTheAnnouncedLength) {
  Deframer deframer;
  ASSERT_TRUE(deframer.feed(Bytes{0x40, 0x02, 0x00, 0x00, 0x00, 1, 2, 3}));
  EXPECT_EQ(deframer.bufferedByteCount(), 8U);
  EXPECT_LE(deframer.bufferCapacity(), 64U);
}

TEST(Deframer, returnsTheSameFramesHoweverTheStreamIsCut) {
  std::vector<Frame> expected;
  Bytes stream;
  for (std::size_t size = 0; size < 60; size += 7) {
    expected.push_back({FrameType::terminal, Bytes(size, static_cast<std::uint8_t>(size))});
    const Bytes encoded = expected.back().encoded();
    stream.insert(stream.end(), encoded.begin(), encoded.end());
  }
  for (std::size_t step = 1; step <= stream.size(); ++step) {
    Deframer deframer;
    std::vector<Frame> found;
    for (std::size_t at = 0; at < stream.size(); at += step) {
      auto frames = deframer.feed(ByteView(stream).subspan(at, std::min(step, stream.size() - at)));
      ASSERT_TRUE(frames);
      std::ranges::move(*frames, std::back_inserter(found));
    }
    EXPECT_EQ(found, expected) << "in steps of " << step;
  }
}

}  // namespace
}  // namespace quorl
