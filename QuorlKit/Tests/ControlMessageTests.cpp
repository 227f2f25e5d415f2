// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/ControlMessage.h>

#include <limits>

#include <gtest/gtest.h>

#include "MessageSamples.h"

namespace quorl {
namespace {

constexpr std::string_view wrongKeyCount = "Invalid number of keys found, expected one.";

// Every decoded text is also judged, with the same result.
std::expected<ControlMessage, CodingError> decoded(std::string_view json) {
  auto message = ControlCoder::decode(viewOf(json));
  const auto judgement = ControlCoder::judge(viewOf(json));
  EXPECT_EQ(judgement.has_value(), message.has_value()) << json.substr(0, 200);
  if (message && judgement) {
    EXPECT_EQ(*judgement, caseName(*message));
  } else if (!message && !judgement) {
    EXPECT_EQ(judgement.error().text, message.error().text);
  }
  return message;
}

std::string errorOf(std::string_view json) {
  const auto message = decoded(json);
  return message ? "decoded" : message.error().text;
}

std::string encodedText(const ControlMessage& message) {
  return textOf(ControlCoder::encode(message).value());
}

TEST(ControlMessage, has63Cases) {
  EXPECT_EQ(std::variant_size_v<ControlMessageCases>, 63U);
}

TEST(ControlMessage, namesEveryCaseByItsKeyInDeclaredOrder) {
  for (std::size_t index = 0; index < messageSamples.size(); ++index) {
    const auto message = decoded(messageSamples[index]);
    ASSERT_TRUE(message) << messageSamples[index] << ": " << message.error().text;
    EXPECT_EQ(message->index(), index);
    const std::string_view sample = messageSamples[index];
    EXPECT_EQ(caseName(*message), sample.substr(2, sample.find('"', 2) - 2));
  }
}

TEST(ControlCoder, readsAndWritesEveryCaseToTheSameBytes) {
  for (const std::string_view sample : messageSamples) {
    const auto message = decoded(sample);
    ASSERT_TRUE(message) << sample << ": " << message.error().text;
    EXPECT_EQ(encodedText(*message), sample);
  }
}

TEST(ControlCoder, readsEveryCaseAlsoWithSpacesAndUnknownKeys) {
  for (const std::string_view sample : messageSamples) {
    std::string loose;
    bool isInText = false;
    for (std::size_t at = 0; at < sample.size(); ++at) {
      const char c = sample[at];
      if (c == '"' && sample[at - 1] != '\\') isInText = !isInText;
      const bool isToken = !isInText && std::string_view("{}[]:,").contains(c);
      loose += isToken ? std::string(" \n") + c + "\t\r" : std::string(1, c);
    }
    loose.insert(loose.find('{') + 1, R"("future":[{"a":[1,2,{"b":null}]},-0.5e-3,true,"x"],)");
    const auto message = decoded(loose);
    ASSERT_TRUE(message) << loose << ": " << message.error().text;
    EXPECT_EQ(encodedText(*message), sample);
  }
}

TEST(ControlCoder, failsForEveryCaseCutAnywhere) {
  for (const std::string_view sample : messageSamples)
    for (std::size_t size = 0; size < sample.size(); ++size) EXPECT_FALSE(decoded(sample.substr(0, size)));
}

TEST(ControlCoder, buildsTheLiteralJSONFromValues) {
  EXPECT_EQ(encodedText(message::Bye{}), R"({"bye":{}})");
  EXPECT_EQ(encodedText(message::InsertText{"hello"}), R"({"insertText":{"_0":"hello"}})");
  EXPECT_EQ(encodedText(message::ScreenInfo{7, 1180, 820}),
            R"({"screenInfo":{"streamID":7,"pointsWide":1180,"pointsHigh":820}})");
  EXPECT_EQ(
      encodedText(message::StartStream{{7, streamTarget::App{"x.y.z"}, {}, std::nullopt, 2.5}}),
      R"({"startStream":{"_0":{"streamID":7,"target":{"app":{"bundleID":"x.y.z"}},"config":{"maxDimension":0,)"
      R"("maxFPS":0,"codec":"hevc","quality":0,"showsCursor":false},"clientPointHeight":2.5}}})");
}

TEST(ControlCoder, failsWithoutAKnownCase) {
  EXPECT_EQ(errorOf("{}"), wrongKeyCount);
  EXPECT_EQ(errorOf(R"({"nonsense":{}})"), wrongKeyCount);
}

TEST(ControlCoder, needsAnObjectAsTheValueOfTheCase) {
  EXPECT_EQ(decoded(R"({"bye":{}})"), ControlMessage(message::Bye{}));
  EXPECT_FALSE(decoded(R"({"bye":null})"));
  EXPECT_FALSE(decoded(R"({"bye":1})"));
  EXPECT_FALSE(decoded(R"({"bye":[]})"));
  EXPECT_EQ(decoded(R"({"bye":{"anything":[1]}})"), ControlMessage(message::Bye{}));
}

TEST(ControlCoder, ignoresUnknownKeysBesideTheCaseAndRefusesASecondCase) {
  EXPECT_EQ(decoded(R"({"bye":{},"future":1})"), ControlMessage(message::Bye{}));
  EXPECT_EQ(errorOf(R"({"bye":{},"requestClipboard":{}})"), wrongKeyCount);
  EXPECT_EQ(errorOf(R"({"bye":1,"requestClipboard":{}})"), wrongKeyCount);
  EXPECT_EQ(errorOf(R"({"requestClipboard":{},"stopStream":{}})"), wrongKeyCount);
  EXPECT_EQ(errorOf(R"({"stopStream":{},"requestClipboard":{},"stopStream":{"streamID":7}})"), wrongKeyCount);
}

TEST(ControlCoder, failsForAMissingRequiredKey) {
  EXPECT_EQ(errorOf(R"({"stopStream":{}})"), "missing key \"streamID\"");
  EXPECT_FALSE(decoded(R"({"insertText":{}})"));
  EXPECT_FALSE(decoded(R"({"stopStream":{"streamID":null}})"));
}

TEST(ControlCoder, readsAHelloWithoutAProof) {
  for (const std::string_view proof : {"", R"(,"authProof":null)"}) {
    const auto message =
        decoded(R"({"hello":{"_0":{"protocolVersion":4,"device":{"name":"n","model":"m","osVersion":"o",)"
                R"("deviceID":"00112233-4455-6677-8899-AABBCCDDEEFF"})" +
                std::string(proof) + "}}}");
    ASSERT_TRUE(message) << message.error().text;
    EXPECT_EQ(std::get<message::Hello>(*message)._0.authProof, std::nullopt);
  }
}

TEST(ControlCoder, keepsADateOfOneAndAHalfSeconds) {
  const ControlMessage written = message::AgentEvent{agentEvent::Updated{{.lastActivity = Date{1.5}}}};
  const auto json = ControlCoder::encode(written);
  ASSERT_TRUE(json);
  EXPECT_EQ(ControlCoder::decode(*json), written);
}

TEST(ControlCoder, writesUUIDsInUpperCaseAndReadsThemInLowerCase) {
  const auto message = decoded(R"({"launchCatalogEntry":{"id":"abcdef00-1111-2222-3333-444455556666"}})");
  ASSERT_TRUE(message);
  EXPECT_EQ(encodedText(*message), R"({"launchCatalogEntry":{"id":"ABCDEF00-1111-2222-3333-444455556666"}})");
}

TEST(ControlCoder, failsToWriteANumberThatIsNotFinite) {
  for (const double value :
       {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
        std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_FALSE(ControlCoder::encode(message::WindowScale{1, value}));
    EXPECT_FALSE(
        ControlCoder::encode(message::AgentEvent{agentEvent::Updated{{.lastActivity = Date{value}}}}));
    EXPECT_FALSE(ControlCoder::encode(message::StreamStarted{{1, 2, 2, {{0, value}, {1, 1}}}}));
  }
}

TEST(ControlCoder, checksTheRangeOfEveryWidth) {
  EXPECT_FALSE(decoded(R"({"videoTransport":{"udpPort":65536}})"));
  EXPECT_FALSE(decoded(R"({"videoTransport":{"udpPort":-1}})"));
  EXPECT_TRUE(decoded(R"({"stopStream":{"streamID":4294967295}})"));
  EXPECT_FALSE(decoded(R"({"stopStream":{"streamID":4294967296}})"));
  const auto resize = [](std::string_view cols) {
    return decoded(
        R"({"agentCommand":{"_0":{"resizePTY":{"id":"1A2B3C4D-0000-4000-8000-00000000ABCD","rows":24,"cols":)" +
        std::string(cols) + "}}}}");
  };
  EXPECT_TRUE(resize("9223372036854775807"));
  EXPECT_FALSE(resize("9223372036854775808"));
  EXPECT_TRUE(resize("-9223372036854775808"));
  EXPECT_FALSE(resize("-9223372036854775809"));
  EXPECT_FALSE(resize("1e400"));
}

TEST(ControlCoder, acceptsWholeNumbersInAnyNotationButNoFractions) {
  const auto streamID = [](std::string_view number) -> std::optional<std::uint32_t> {
    const auto message = decoded("{\"stopStream\":{\"streamID\":" + std::string(number) + "}}");
    if (!message) return std::nullopt;
    return std::get<message::StopStream>(*message).streamID;
  };
  EXPECT_EQ(streamID("7.0"), 7U);
  EXPECT_EQ(streamID("7e0"), 7U);
  EXPECT_EQ(streamID("0.7E1"), 7U);
  EXPECT_EQ(streamID("-0"), 0U);
  EXPECT_EQ(streamID("-0.0"), 0U);
  EXPECT_EQ(streamID("1.5"), std::nullopt);
  EXPECT_EQ(streamID("-1.0"), std::nullopt);
  EXPECT_EQ(streamID("\"7\""), std::nullopt);
  EXPECT_EQ(streamID("true"), std::nullopt);
  EXPECT_EQ(streamID("07"), std::nullopt);
  EXPECT_EQ(streamID("+7"), std::nullopt);
  EXPECT_EQ(streamID("7."), std::nullopt);
  EXPECT_EQ(streamID(".7"), std::nullopt);
  EXPECT_EQ(streamID("0x7"), std::nullopt);
}

TEST(ControlCoder, usesTheLastOfDuplicateKeys) {
  EXPECT_EQ(decoded(R"({"stopStream":{"streamID":1,"streamID":2}})"), ControlMessage(message::StopStream{2}));
  EXPECT_EQ(decoded(R"({"stopStream":{"streamID":1},"stopStream":{"streamID":3}})"),
            ControlMessage(message::StopStream{3}));
  EXPECT_FALSE(decoded(R"({"stopStream":{"streamID":"x","streamID":2}})"));
  const auto message = decoded(R"({"switchUser":{"_0":{"uid":1,"unlockPassword":"secret"},"_0":{"uid":2}}})");
  EXPECT_EQ(message, ControlMessage(message::SwitchUser{{2, std::nullopt}}));
}

TEST(ControlCoder, readsAKeyWrittenWithEscapes) {
  EXPECT_EQ(decoded(R"({"\u0062ye":{}})"), ControlMessage(message::Bye{}));
}

TEST(ControlCoder, readsBase64WithEscapedSlashes) {
  const auto message = decoded(R"({"pairRequest":{"_0":{"pinProof":"\/+8="}}})");
  EXPECT_EQ(message, ControlMessage(message::PairRequest{{{0xFF, 0xEF}}}));
  EXPECT_FALSE(decoded(R"({"pairRequest":{"_0":{"pinProof":"/+8"}}})"));
}

TEST(ControlCoder, writesTextThatIsNotUTF8AsValidJSON) {
  EXPECT_EQ(encodedText(message::InsertText{"a\xFF"
                                            "b"}),
            "{\"insertText\":{\"_0\":\"a\xEF\xBF\xBD"
            "b\"}}");
}

TEST(ControlCoder, keepsControlCharactersAndNULOfText) {
  const ControlMessage written = message::InsertText{std::string("\0\t\n\x1F\x7F\"\\/é\U0001F600", 15)};
  const auto json = ControlCoder::encode(written);
  ASSERT_TRUE(json);
  EXPECT_EQ(ControlCoder::decode(*json), written);
}

TEST(ControlCoder, refusesHostileInput) {
  const std::string deepArray = R"({"bye":{"x":)" + std::string(100'000, '[');
  const std::string deepObject = [] {
    std::string text;
    for (int level = 0; level < 100'000; ++level) text += R"({"x":)";
    return text;
  }();
  for (const std::string& json : {std::string(),
                                  std::string(" "),
                                  std::string("null"),
                                  std::string("[]"),
                                  std::string("\"bye\""),
                                  std::string("\xEF\xBB\xBF{\"bye\":{}}"),
                                  std::string("{\"bye\":{}}x"),
                                  std::string("{\"bye\":{}}{}"),
                                  std::string("{\"bye\":{}}\0", 11),
                                  std::string("\0{\"bye\":{}}", 11),
                                  std::string("{\"bye\":{},}"),
                                  std::string("{'bye':{}}"),
                                  std::string("{\"bye\":{}//\n}"),
                                  std::string("{\"bye\" {}}"),
                                  std::string("{\"bye\":{}"),
                                  std::string("{\"x\":1e999999999999999999999x,\"bye\":{}}"),
                                  std::string(R"({"insertText":{"_0":"\ud800"}})"),
                                  std::string(R"({"insertText":{"_0":"\udc00\ud800"}})"),
                                  std::string(R"({"insertText":{"_0":"\ud800\u0041"}})"),
                                  std::string(R"({"insertText":{"_0":"\ud800x"}})"),
                                  std::string(R"({"insertText":{"_0":"\u12"}})"),
                                  std::string(R"({"insertText":{"_0":"\u+123"}})"),
                                  std::string(R"({"insertText":{"_0":"\x41"}})"),
                                  std::string("{\"insertText\":{\"_0\":\"a\nb\"}}"),
                                  std::string("{\"insertText\":{\"_0\":\"\0\"}}", 23),
                                  std::string("{\"insertText\":{\"_0\":\"\xC0\x80\"}}"),
                                  std::string("{\"insertText\":{\"_0\":\"\xED\xA0\x80\"}}"),
                                  std::string("{\"insertText\":{\"_0\":\"\xFF\"}}"),
                                  std::string("{\"\xFF\":1,\"bye\":{}}"),
                                  std::string("{\"x\":\"\xFF\",\"bye\":{}}"),
                                  deepArray,
                                  deepObject})
    EXPECT_FALSE(decoded(json)) << json.substr(0, 60);
}

TEST(ControlCoder, limitsTheNestingOfSkippedValues) {
  const auto nested = [](std::size_t levels) {
    return R"({"bye":{"x":)" + std::string(levels, '[') + std::string(levels, ']') + "}}";
  };
  EXPECT_TRUE(decoded(nested(126)));
  EXPECT_FALSE(decoded(nested(127)));
}

TEST(ControlCoder, readsASurrogatePairAsOneCharacter) {
  EXPECT_EQ(decoded(R"({"insertText":{"_0":"\ud83d\uDE00"}})"),
            ControlMessage(message::InsertText{"\U0001F600"}));
}

TEST(ControlCoder, failsTheWholeMessageForAnUnknownRawText) {
  for (
      const std::string_view json :
      {R"({"updateStream":{"_0":{"streamID":7,"config":{"maxDimension":1,"maxFPS":3,"codec":"av1","quality":1,"showsCursor":true}}}})",
       R"({"networkStatus":{"_0":{"overlay":"wireguard","health":"online","overlayAddresses":[],"lanAddresses":[],"sessionPort":1,"relayPort":2}}})",
       R"({"networkStatus":{"_0":{"overlay":"none","health":"fine","overlayAddresses":[],"lanAddresses":[],"sessionPort":1,"relayPort":2}}})",
       R"({"userSwitchResult":{"_0":{"uid":502,"status":"maybe","secureInputActive":true}}})",
       R"({"agentList":{"_0":[{"id":"00000000-0000-0000-0000-000000000000","kind":"pty","name":"","detail":"","status":"asleep"}]}})",
       R"({"agentList":{"_0":[{"id":"00000000-0000-0000-0000-000000000000","kind":"pet","name":"","detail":"","status":"idle"}]}})"})
    EXPECT_EQ(errorOf(json), "unknown case of an enumeration") << json;
}

TEST(ControlCoder, appliesTheOneKeyRuleToNestedUnions) {
  const auto inside = [](std::string_view target) {
    return errorOf(
        R"({"startStream":{"_0":{"streamID":7,"target":)" + std::string(target) +
        R"(,"config":{"maxDimension":1,"maxFPS":1,"codec":"h264","quality":1,"showsCursor":true}}}})");
  };
  EXPECT_EQ(inside(R"({"unified":{}})"), "decoded");
  EXPECT_EQ(inside(R"({"unified":{},"future":{}})"), "decoded");
  EXPECT_EQ(inside(R"({"unified":{},"display":{"id":1}})"), wrongKeyCount);
  EXPECT_EQ(inside("{}"), wrongKeyCount);
  EXPECT_EQ(errorOf(R"({"systemCommand":{"_0":{"lockScreen":{},"wakeDisplays":{}}}})"), wrongKeyCount);
  EXPECT_EQ(errorOf(R"({"agentCommand":{"_0":{"nap":{}}}})"), wrongKeyCount);
  EXPECT_EQ(errorOf(R"({"agentEvent":{"_0":{}}})"), wrongKeyCount);
  EXPECT_EQ(errorOf(R"({"clipboard":{"_0":{"content":{}}}})"), wrongKeyCount);
}

}  // namespace
}  // namespace quorl
