// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlKit/Foundation/JsonReader.h>

/// Reading of JSON that another program prints: what has another type than expected counts as absent. After a
/// syntax error the reader has failed, and nothing that was read is valid.
namespace quorl::OverlayText {

/// Reads the next value; absent if it is not of this type.
std::optional<std::string> text(JsonReader& reader);
std::optional<bool> boolean(JsonReader& reader);
/// Absent also if one element is no text.
std::optional<std::vector<std::string>> texts(JsonReader& reader);

/// Calls `read` with each key of the next value, to read or skip that key's value. False if the value is no
/// object, which is then skipped.
template <class Read>
bool object(JsonReader& reader, Read read) {
  if (reader.peek() != JsonReader::Kind::object) {
    (void)reader.skipValue();
    return false;
  }
  if (!reader.beginObject()) return false;
  JsonReader::Walk walk;
  std::string_view key;
  JsonReader::Step step = JsonReader::Step::item;
  while ((step = reader.nextKey(walk, key)) == JsonReader::Step::item) read(std::string(key));
  return step == JsonReader::Step::end;
}

/// The same for the elements of an array.
template <class Read>
bool array(JsonReader& reader, Read read) {
  if (reader.peek() != JsonReader::Kind::array) {
    (void)reader.skipValue();
    return false;
  }
  if (!reader.beginArray()) return false;
  JsonReader::Walk walk;
  JsonReader::Step step = JsonReader::Step::item;
  while ((step = reader.nextElement(walk)) == JsonReader::Step::item) read();
  return step == JsonReader::Step::end;
}

}  // namespace quorl::OverlayText
