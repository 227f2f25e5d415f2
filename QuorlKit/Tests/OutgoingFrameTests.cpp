// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/OutgoingFrame.h>

#include <limits>

#include <gtest/gtest.h>

#include <QuorlKit/WireProtocol.h>

namespace quorl {
namespace {

const SharedBytes data = shareBytes({1, 2, 3});
const UUID id{
    {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};

TEST(OutgoingFrame, hasTheBytesOfItsFrame) {
  const SharedVideoPacket video{7, VideoPacketFlags::keyframe, 99, data};
  EXPECT_EQ(OutgoingFrame::video(video).encoded(), (Frame{FrameType::video, video.encoded()}.encoded()));
  const SharedAudioPacket audio{99, data};
  EXPECT_EQ(OutgoingFrame::audio(audio).encoded(), (Frame{FrameType::audio, audio.encoded()}.encoded()));
  const SharedTerminalPayload terminal{id, data};
  EXPECT_EQ(OutgoingFrame::terminal(terminal).encoded(),
            (Frame{FrameType::terminal, terminal.encoded()}.encoded()));
  const SharedFileChunk chunk{id, 1 << 20, data};
  EXPECT_EQ(OutgoingFrame::file(chunk).encoded(), (Frame{FrameType::file, chunk.encoded()}.encoded()));
  const InputEvent event = inputEvent::Scroll{};
  EXPECT_EQ(OutgoingFrame::input(event).encoded(), (Frame{FrameType::input, event.encoded()}.encoded()));
  EXPECT_EQ(OutgoingFrame::raw(FrameType::pong, data).encoded(), (Frame{FrameType::pong, *data}.encoded()));
  EXPECT_EQ(OutgoingFrame::raw(FrameType::ping, nullptr).encoded(), (Frame{FrameType::ping, {}}.encoded()));
}

TEST(OutgoingFrame, sharesItsBufferInsteadOfCopyingIt) {
  const OutgoingFrame frame = OutgoingFrame::video({7, {}, 99, data});
  const OutgoingFrame copy = frame;
  EXPECT_EQ(frame.body().data(), data->data());
  EXPECT_EQ(copy.body().data(), data->data());
  EXPECT_EQ(frame.prefix().size(), 5U + 13U);
  EXPECT_EQ(frame.size(), 5U + 13U + 3U);
  EXPECT_EQ(frame.type(), FrameType::video);
}

TEST(OutgoingFrame, encodesAControlMessage) {
  const auto frame = OutgoingFrame::control(message::Bye{});
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->encoded(), (Frame{FrameType::control, bytesOf("{\"bye\":{}}")}.encoded()));
}

TEST(OutgoingFrame, failsForAMessageThatCannotBeEncoded) {
  EXPECT_FALSE(OutgoingFrame::control(message::WindowScale{1, std::numeric_limits<double>::infinity()}));
}

TEST(OutgoingFrame, failsForAMessageThatIsLongerThanAFrame) {
  const std::size_t around = std::string_view(R"({"insertText":{"_0":""}})").size();
  const auto messageOf = [&](std::size_t jsonSize) {
    return message::InsertText{std::string(jsonSize - around, 'x')};
  };
  const auto longest = OutgoingFrame::control(messageOf(WireProtocol::maxFrameLength));
  ASSERT_TRUE(longest);
  EXPECT_EQ(longest->size(), WireProtocol::maxFrameLength + 5U);
  EXPECT_FALSE(OutgoingFrame::control(messageOf(WireProtocol::maxFrameLength + 1)));
}

TEST(OutgoingFrameDeathTest, abortsForAnOwnPayloadThatIsTooLong) {
  const SharedBytes tooLong = shareBytes(Bytes(WireProtocol::maxFrameLength + 1));
  EXPECT_DEATH(OutgoingFrame::raw(FrameType::video, tooLong), "fits in a frame");
}

}  // namespace
}  // namespace quorl
