// SPDX-License-Identifier: GPL-3.0-or-later
// Keeps the examples of docs/protocol.md correct.
#include <QuorlKit/Auth/Pairing.h>
#include <QuorlKit/Foundation/Base64.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/Frames.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>

#include <numeric>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace quorl {
namespace {

Bytes counting(std::size_t size) {
  Bytes bytes(size);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

std::string hex(ByteView bytes) {
  std::string text;
  for (const auto byte : bytes) text += fmt::format("{:02x}", byte);
  return text;
}

TEST(ProtocolExamples, proofsAreAsDocumented) {
  EXPECT_EQ(hex(Pairing::pinProof("000007", counting(16))),
            "5843f1990876f4ceb22e32d6ba133d7ab2761b01da61316963cdad269b5f9245");
  EXPECT_EQ(hex(Pairing::tokenProof(counting(32), counting(16))),
            "d8b99f2709a3ca74172cbe93824c1f29b23a0c1e9c21bd851ff2d2c39dbef14e");
  EXPECT_EQ(base64Encoded(Pairing::pinProof("000007", counting(16))),
            "WEPxmQh29M6yLjLWuhM9erJ2GwHaYTFpY82tJptfkkU=");
  EXPECT_EQ(base64Encoded(counting(16)), "AAECAwQFBgcICQoLDA0ODw==");
}

TEST(ProtocolExamples, framesAreAsDocumented) {
  const auto bye = OutgoingFrame::control(message::Bye{});
  ASSERT_TRUE(bye);
  EXPECT_EQ(hex(bye->encoded()), "010000000a7b22627965223a7b7d7d");
  const inputEvent::Pointer press{7, PointerPhase::down,    PointerButton::left, 0.5F, 0.25F, 1,
                                  0, WireModifiers::command};
  EXPECT_EQ(hex(OutgoingFrame::input(press).encoded()),
            "20000000180107000000000000"
            "00003f0000803e010000000010000000");
  EXPECT_EQ(hex(InputEvent(inputEvent::Key{36, true, {}}).encoded()), "0424000100000000");
}

TEST(ProtocolExamples, messagesDecodeAsDocumented) {
  for (
      const auto* text :
      {R"({"bye":{}})", R"({"insertText":{"_0":"hello"}})", R"({"stopStream":{"streamID":7}})",
       R"({"pairRequest":{"_0":{"pinProof":"WEPxmQh29M6yLjLWuhM9erJ2GwHaYTFpY82tJptfkkU="}}})",
       R"({"error":{"_0":{"code":"auth.required","message":"not authenticated"}}})",
       R"({"startStream":{"_0":{"streamID":1,"target":{"unified":{}},"config":{"maxDimension":2048,"maxFPS":60,"codec":"h264","quality":0.8,"showsCursor":true}}}})",
       R"({"streamStarted":{"_0":{"streamID":1,"pixelWidth":1920,"pixelHeight":1080,"contentRect":[[0,0],[1920,1080]]}}})",
       R"({"videoTransport":{"udpPort":50123}})", R"({"audioControl":{"enabled":true}})"})
    EXPECT_TRUE(ControlCoder::decode(viewOf(text))) << text;
}

}  // namespace
}  // namespace quorl
