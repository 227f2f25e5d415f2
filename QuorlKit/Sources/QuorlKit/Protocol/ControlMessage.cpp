// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/ControlMessage.h>

#include <array>
#include <utility>

#include <QuorlKit/Protocol/RecordCoding.h>

namespace quorl {

namespace {

using MoveIn = void (*)(ControlMessageCases& destination, void* message);

template <std::size_t... index>
consteval std::array<MoveIn, sizeof...(index)> moversOf(std::index_sequence<index...>) {
  return {[](ControlMessageCases& destination, void* message) {
    using Case = std::variant_alternative_t<index, ControlMessageCases>;
    destination.emplace<index>(std::move(*static_cast<Case*>(message)));
  }...};
}

}  // namespace

ControlMessage::ControlMessage() = default;
ControlMessage::ControlMessage(const ControlMessage& other) = default;
ControlMessage::ControlMessage(ControlMessage&& other) noexcept = default;
ControlMessage& ControlMessage::operator=(const ControlMessage& other) = default;
ControlMessage& ControlMessage::operator=(ControlMessage&& other) noexcept = default;
ControlMessage::~ControlMessage() = default;

ControlMessage::ControlMessage(std::size_t index, void* message) {
  static constexpr auto movers =
      moversOf(std::make_index_sequence<std::variant_size_v<ControlMessageCases>>());
  movers[index](*this, message);
}

bool ControlMessage::equals(const ControlMessage& other) const {
  return static_cast<const ControlMessageCases&>(*this) == static_cast<const ControlMessageCases&>(other);
}

bool holdsSecret(const ControlMessage& message) {
  const auto* request = std::get_if<message::SwitchUser>(&message);
  return std::holds_alternative<message::UnlockSession>(message) ||
         std::holds_alternative<message::VerifyCredentials>(message) ||
         (request != nullptr && request->_0.unlockPassword);
}

namespace ControlCoder {

std::expected<Bytes, CodingError> encode(const ControlMessage& message) {
  return encodeRecord(static_cast<const ControlMessageCases&>(message));
}

std::expected<ControlMessage, CodingError> decode(ByteView json) {
  JsonReader reader(json);
  ControlMessage message;
  if (!coding::decode(reader, static_cast<ControlMessageCases&>(message)) || !reader.finish())
    return std::unexpected(CodingError{reader.error()});
  return message;
}

std::expected<std::string_view, CodingError> judge(ByteView json) {
  JsonReader reader(json, JsonReader::Values::judged);
  ControlMessage message;
  if (!coding::decode(reader, static_cast<ControlMessageCases&>(message)) || !reader.finish())
    return std::unexpected(CodingError{reader.error()});
  return caseName(message);
}

}  // namespace ControlCoder

}  // namespace quorl
