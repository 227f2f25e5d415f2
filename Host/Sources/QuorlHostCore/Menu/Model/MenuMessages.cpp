// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Menu/Model/MenuMessages.h>

#include <QuorlKit/Protocol/RecordCoding.h>

namespace quorl {

namespace {

template <class Union>
std::string lineOf(const Union& value) {
  const auto bytes = encodeRecord(value);
  if (!bytes) return {};  // no message has a number that is not finite
  return std::string(bytes->begin(), bytes->end()) + "\n";
}

template <class Union>
std::optional<Union> parse(std::string_view line) {
  auto value = decodeRecord<Union>(viewOf(line));
  if (!value) return std::nullopt;
  return std::move(*value);
}

}  // namespace

std::string menuLine(const MenuMessage& message) {
  return lineOf(message);
}

std::string menuLine(const MenuAction& action) {
  return lineOf(action);
}

std::optional<MenuMessage> parseMenuMessage(std::string_view line) {
  return parse<MenuMessage>(line);
}

std::optional<MenuAction> parseMenuAction(std::string_view line) {
  return parse<MenuAction>(line);
}

}  // namespace quorl
