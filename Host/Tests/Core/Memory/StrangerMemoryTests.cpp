// SPDX-License-Identifier: GPL-3.0-or-later
// The memory that a message costs before authentication: its own size, whatever it would decode to.
#include <gtest/gtest.h>

#include <QuorlKit/WireProtocol.h>
#include <Support/SessionFixture.h>

#include "CountedAllocations.h"

namespace quorl::test {
namespace {

std::string repeated(std::string_view piece, std::size_t size) {
  std::string text;
  text.reserve(size);
  while (text.size() + piece.size() < size) text += piece;
  return text;
}

constexpr std::size_t large = 8'388'608;

// Lists, dictionaries, texts, escapes and Base64 of the given size.
std::string listOfNothing(std::size_t size) {
  return R"({"setGUIAgentBundles":{"_0":[)" + repeated("\"\",", size - 40) + "\"\"]}}";
}
std::string text(std::string_view piece) {
  return R"({"insertText":{"_0":")" + repeated(piece, large) + "\"}}";
}
std::string picture(std::string_view piece) {
  return R"({"clipboard":{"_0":{"content":{"image":{"_0":")" + repeated(piece, large) + "\"}}}}}";
}

std::size_t costOfJudging(const std::string& json) {
  const AllocationPeak peak;
  EXPECT_TRUE(ControlCoder::judge(viewOf(json))) << json.substr(0, 80);
  return peak.extraBytes();
}

TEST(Judging, doesNotDecodeAListThatWouldTakeTenTimesItsSize) {
  const std::string json = listOfNothing(large);
  {
    const AllocationPeak peak;
    ASSERT_TRUE(ControlCoder::decode(viewOf(json)));
    EXPECT_GT(peak.extraBytes(), 8 * large) << "the count counts";
  }
  EXPECT_LT(costOfJudging(json), 16'384U);
}

TEST(Judging, usesNoMoreMemoryThanTheMessageForOneText) {
  EXPECT_LT(costOfJudging(text("plain")), 16'384U);
  for (const std::string_view piece : {"\\n", "\\u00e9", "some more \\\" text", "\xC3\xA9\\t"})
    EXPECT_LT(costOfJudging(text(piece)), large + 16'384) << piece;
}

class StrangerMemory : public SessionFixture {
 protected:
  // The peak while the message is dispatched, without the frame itself.
  std::size_t costOf(FakeClient& client, const std::string& json) {
    const Bytes frame = Frame{FrameType::control, bytesOf(json)}.encoded();
    client.peer->write(ByteView(frame).first(frame.size() - 1));
    simulation_.runReady();
    const AllocationPeak peak;
    client.peer->write(ByteView(frame).last(1));
    simulation_.runReady();
    return peak.extraBytes();
  }
};

TEST_F(StrangerMemory, refusesTheLargestListInNextToNothing) {
  FakeClient client = connect();
  const std::string json = listOfNothing(WireProtocol::maxFrameLength);
  EXPECT_LT(costOf(client, json), WireProtocol::maxFrameLength / 64);
  client.settle();
  EXPECT_EQ(client.lastError(), "auth.required");
  EXPECT_TRUE(client.peer->isClosedByHost());
}

TEST_F(StrangerMemory, staysInProportionForWhatTheHandshakeAccepts) {
  FakeClient client = connect();
  const std::string json = R"({"hello":{"_0":{"protocolVersion":4,"device":{"name":"Tablet","model":")" +
                           repeated("\\u00e9 and more", large) +
                           R"(","osVersion":"","deviceID":"00000000-0000-0000-0000-000000000001"}}}})";
  EXPECT_LT(costOf(client, json), 2 * json.size());
  client.settle();
  EXPECT_EQ(client.names(), std::vector<std::string>{"helloAck"});
}

TEST_F(StrangerMemory, distinguishesInvalidMessagesFromForbiddenOnes) {
  FakeClient client = connect();
  for (const char* json : {R"({"setGUIAgentBundles":{"_0":["",1]}})", R"({"setGUIAgentBundles":5})",
                           R"({"setGUIAgentBundles":{"_0":[""]})", R"({"bye":{},"hello":{}})"}) {
    client.peer->writeFrame(FrameType::control, bytesOf(json));
    client.settle();
    EXPECT_EQ(client.lastError(), "proto.badJSON") << json;
    client.received.clear();
    EXPECT_FALSE(client.peer->isClosedByHost()) << json;
  }
  client.peer->writeFrame(FrameType::control, bytesOf(R"({"setGUIAgentBundles":{"_0":[""]}})"));
  client.settle();
  EXPECT_EQ(client.lastError(), "auth.required");
}

TEST(Judging, usesNoMoreThanTwiceTheMessageForAPicture) {
  EXPECT_LT(costOfJudging(picture("AAAA")), large);
  EXPECT_LT(costOfJudging(picture("\\/AAA")), 2 * large);
}

}  // namespace
}  // namespace quorl::test
