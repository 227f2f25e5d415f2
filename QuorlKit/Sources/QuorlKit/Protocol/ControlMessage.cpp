// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/ControlMessage.h>

#include <QuorlKit/Protocol/RecordCoding.h>

namespace quorl::ControlCoder {

std::expected<Bytes, CodingError> encode(const ControlMessage& message) {
  return encodeRecord(message);
}

std::expected<ControlMessage, CodingError> decode(ByteView json) {
  return decodeRecord<ControlMessage>(json);
}

std::expected<std::string_view, CodingError> judge(ByteView json) {
  JsonReader reader(json, JsonReader::Values::judged);
  ControlMessage message;
  if (!coding::decode(reader, message) || !reader.finish())
    return std::unexpected(CodingError{reader.error()});
  return caseName(message);
}

}  // namespace quorl::ControlCoder
