// SPDX-License-Identifier: GPL-3.0-or-later
// A decoded message can be encoded in both styles and decodes to the same message.
#include <QuorlKit/Foundation/Check.h>
#include <QuorlKit/Foundation/RecordHash.h>
#include <QuorlKit/Foundation/UTF8.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/Protocol/RecordCoding.h>

using namespace quorl;

static const quorl::ControlMessageCases& casesOf(const quorl::ControlMessage& message) {
  return message;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto message = ControlCoder::decode(ByteView(data, size));
  const auto judgement = ControlCoder::judge(ByteView(data, size));
  QUORL_CHECK(judgement.has_value() == message.has_value(), "judging and decoding agree");
  QUORL_CHECK(!message || *judgement == caseName(*message), "the judged case is the decoded one");
  if (!message) {
    QUORL_CHECK(!message.error().text.empty(), "a failure has a text");
    return 0;
  }
  const auto json = ControlCoder::encode(*message);
  QUORL_CHECK(json.has_value(), "a decoded message can be encoded");
  QUORL_CHECK(isValidUTF8(textViewOf(*json)), "JSON is UTF-8");
  const auto again = ControlCoder::decode(*json);
  QUORL_CHECK(again == message, "a message decodes to itself");
  QUORL_CHECK(RecordHash{}(casesOf(*again)) == RecordHash{}(casesOf(*message)),
              "equal messages have equal hashes");
  const auto pretty = encodeRecord(casesOf(*message), JsonStyle::prettySorted);
  QUORL_CHECK(pretty && decodeRecord<ControlMessageCases>(*pretty) == casesOf(*message),
              "space and order carry no meaning");
  return 0;
}
