// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/RecordCoding.h>

#include <algorithm>

#include <fmt/format.h>

#include <QuorlKit/Foundation/Base64.h>

namespace quorl::coding {

namespace {

constexpr std::size_t notFound = static_cast<std::size_t>(-1);

// Peers write fields in declared order, so the field after the last one found is tried first.
std::size_t indexOf(std::span<const FieldCodec> fields, std::string_view name, std::size_t expected) {
  if (expected < fields.size() && fields[expected].name == name) return expected;
  for (std::size_t index = 0; index < fields.size(); ++index)
    if (fields[index].name == name) return index;
  return notFound;
}

bool encodeField(JsonWriter& writer, const void* record, const FieldCodec& field) {
  if (field.isPresent != nullptr && !field.isPresent(record)) return true;
  writer.plainKey(field.name);
  return field.encode(writer, record);
}

bool readPair(JsonReader& reader, double& first, double& second) {
  if (!reader.beginArray()) return false;
  JsonReader::Walk walk;
  for (double* const value : {&first, &second}) {
    const JsonReader::Step step = reader.nextElement(walk);
    if (step == JsonReader::Step::end) return reader.fail("expected two numbers");
    if (step == JsonReader::Step::failed || !reader.readDouble(*value)) return false;
  }
  const JsonReader::Step step = reader.nextElement(walk);
  if (step == JsonReader::Step::item) return reader.fail("expected two numbers");
  return step == JsonReader::Step::end;
}

bool writePair(JsonWriter& writer, double first, double second) {
  writer.beginArray();
  for (const double value : {first, second}) {
    writer.element();
    if (!writer.writeDouble(value)) return false;
  }
  writer.endArray();
  return true;
}

}  // namespace

bool decodeFields(JsonReader& reader, void* record, std::span<const FieldCodec> fields) {
  if (!reader.beginObject()) return false;
  std::uint64_t found = 0;
  std::size_t expected = 0;
  JsonReader::Walk walk;
  std::string_view key;
  const auto next = [&] {
    return reader.nextKey(walk, key, expected < fields.size() ? fields[expected].name : std::string_view{});
  };
  JsonReader::Step step = next();
  for (; step == JsonReader::Step::item; step = next()) {
    const std::size_t index = indexOf(fields, key, expected);
    if (index == notFound) {
      if (!reader.skipValue()) return false;
      continue;
    }
    const std::uint64_t bit = std::uint64_t{1} << index;
    if ((found & bit) != 0) fields[index].clear(record);
    if (!fields[index].decode(reader, record)) return false;
    found |= bit;
    expected = index + 1;
  }
  if (step == JsonReader::Step::failed) return false;
  for (std::size_t index = 0; index < fields.size(); ++index)
    if (fields[index].isRequired && (found >> index & 1) == 0)
      return reader.fail(fmt::format("missing key \"{}\"", fields[index].name));
  return true;
}

bool encodeFields(JsonWriter& writer, const void* record, std::span<const FieldCodec> fields) {
  writer.beginObject();
  if (writer.style() == JsonStyle::compact) {
    for (const FieldCodec& field : fields)
      if (!encodeField(writer, record, field)) return false;
  } else {
    std::vector<const FieldCodec*> sorted;
    for (const FieldCodec& field : fields) sorted.push_back(&field);
    std::ranges::sort(sorted, {}, [](const FieldCodec* field) { return field->name; });
    for (const FieldCodec* const field : sorted)
      if (!encodeField(writer, record, *field)) return false;
  }
  writer.endObject();
  return true;
}

// The number of known keys is checked before their values: a value that does not fit its case is skipped, and
// its failure is reported only if there is no other known key.
bool decodeCases(JsonReader& reader, void* variant, std::span<const CaseCodec> cases) {
  if (!reader.beginObject()) return false;
  const CaseCodec* only = nullptr;
  bool isUnique = true;
  std::string unfit;
  JsonReader::Walk walk;
  std::string_view key;
  JsonReader::Step step = reader.nextKey(walk, key);
  for (; step == JsonReader::Step::item; step = reader.nextKey(walk, key)) {
    const auto known = std::ranges::find(cases, key, &CaseCodec::key);
    const bool isKnown = known != cases.end();
    if (isKnown) isUnique = isUnique && (only == nullptr || only == &*known);
    if (isKnown && isUnique && unfit.empty()) {
      only = &*known;
      const JsonReader::Mark before = reader.mark();
      if (known->decode(reader, variant)) continue;
      unfit = reader.error();
      reader.rewind(before);
    }
    if (!reader.skipValue()) return false;
  }
  if (step == JsonReader::Step::failed) return false;
  if (only == nullptr || !isUnique) return reader.fail("Invalid number of keys found, expected one.");
  return unfit.empty() || reader.fail(unfit);
}

bool decode(JsonReader& reader, bool& value) {
  return reader.readBool(value);
}
bool decode(JsonReader& reader, double& value) {
  return reader.readDouble(value);
}
bool decode(JsonReader& reader, std::string& value) {
  if (reader.keepsValues()) return reader.readString(value);
  std::string_view text;
  return reader.readStringView(text);
}

bool decode(JsonReader& reader, SecretText& value) {
  std::string_view text;
  const bool isText = reader.readStringView(text);
  if (isText && reader.keepsValues()) value = SecretText(text);
  reader.wipeScratch();
  return isText;
}

bool decode(JsonReader& reader, Bytes& value) {
  std::string_view text;
  if (!reader.readStringView(text)) return false;
  auto data = base64Decoded(text);
  if (!data) return reader.fail("expected Base64");
  value = std::move(*data);
  return true;
}

bool decode(JsonReader& reader, UUID& value) {
  std::string_view text;
  if (!reader.readStringView(text)) return false;
  const auto id = UUID::parse(text);
  if (!id) return reader.fail("expected a UUID");
  value = *id;
  return true;
}

bool decode(JsonReader& reader, URL& value) {
  return decode(reader, value.absolute);
}
bool decode(JsonReader& reader, Date& value) {
  return reader.readDouble(value.secondsSince1970);
}

bool decode(JsonReader& reader, PointRect& value) {
  if (!reader.beginArray()) return false;
  JsonReader::Walk walk;
  if (reader.nextElement(walk) != JsonReader::Step::item) return reader.fail("expected a rectangle");
  if (!readPair(reader, value.origin.x, value.origin.y)) return false;
  if (reader.nextElement(walk) != JsonReader::Step::item) return reader.fail("expected a rectangle");
  if (!readPair(reader, value.size.width, value.size.height)) return false;
  return reader.nextElement(walk) == JsonReader::Step::end || reader.fail("expected a rectangle");
}

bool decode(JsonReader& reader, std::map<std::string, std::string>& value) {
  value.clear();
  if (!reader.beginObject()) return false;
  JsonReader::Walk walk;
  std::string_view key;
  for (;;) {
    const JsonReader::Step step = reader.nextKey(walk, key);
    if (step != JsonReader::Step::item) return step == JsonReader::Step::end;
    if (!reader.keepsValues()) key = {};
    if (!decode(reader, value[std::string(key)])) return false;
  }
}

bool encode(JsonWriter& writer, const bool& value) {
  writer.writeBool(value);
  return true;
}

bool encode(JsonWriter& writer, const double& value) {
  return writer.writeDouble(value);
}

bool encode(JsonWriter& writer, const std::string& value) {
  writer.writeString(value);
  return true;
}

bool encode(JsonWriter& writer, const SecretText& value) {
  writer.writeString(value.view());
  return true;
}

bool encode(JsonWriter& writer, const Bytes& value) {
  writer.writeBase64(value);
  return true;
}

bool encode(JsonWriter& writer, const UUID& value) {
  writer.writeString(value.text());
  return true;
}

bool encode(JsonWriter& writer, const URL& value) {
  writer.writeString(value.absolute);
  return true;
}

bool encode(JsonWriter& writer, const Date& value) {
  return writer.writeDouble(value.secondsSince1970);
}

bool encode(JsonWriter& writer, const PointRect& value) {
  writer.beginArray();
  writer.element();
  if (!writePair(writer, value.origin.x, value.origin.y)) return false;
  writer.element();
  if (!writePair(writer, value.size.width, value.size.height)) return false;
  writer.endArray();
  return true;
}

bool encode(JsonWriter& writer, const std::map<std::string, std::string>& value) {
  writer.beginObject();
  for (const auto& [key, text] : value) {
    writer.key(key);
    writer.writeString(text);
  }
  writer.endObject();
  return true;
}

}  // namespace quorl::coding
