// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Network/OverlayText.h>

#include <utility>

namespace quorl::OverlayText {

std::optional<std::string> text(JsonReader& reader) {
  std::string value;
  if (reader.peek() == JsonReader::Kind::string && reader.readString(value)) return value;
  (void)reader.skipValue();
  return std::nullopt;
}

std::optional<bool> boolean(JsonReader& reader) {
  bool value = false;
  if (reader.peek() == JsonReader::Kind::boolean && reader.readBool(value)) return value;
  (void)reader.skipValue();
  return std::nullopt;
}

std::optional<std::vector<std::string>> texts(JsonReader& reader) {
  std::vector<std::string> values;
  bool areTexts = true;
  const bool isArray = array(reader, [&] {
    auto value = text(reader);
    areTexts = areTexts && value;
    if (value) values.push_back(std::move(*value));
  });
  return isArray && areTexts ? std::optional(std::move(values)) : std::nullopt;
}

}  // namespace quorl::OverlayText
