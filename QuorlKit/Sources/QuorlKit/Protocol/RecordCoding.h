// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <boost/describe/members.hpp>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Foundation/JsonReader.h>
#include <QuorlKit/Foundation/JsonWriter.h>
#include <QuorlKit/Foundation/Record.h>
#include <QuorlKit/Foundation/SecretText.h>
#include <QuorlKit/Foundation/TaggedUnion.h>
#include <QuorlKit/Foundation/URL.h>
#include <QuorlKit/Foundation/UUID.h>
#include <QuorlKit/Protocol/CodingError.h>

/// JSON coding of any described record, list, dictionary or tagged union, from its declaration. A record
/// becomes a table of its fields, a union a table of its cases, and two loops in RecordCoding.cpp walk the
/// tables, so another record adds a few small functions and no loop. Include this only in source files: it
/// costs about a third of a second of compile time.
namespace quorl {

namespace coding {

struct FieldCodec {
  std::string_view name;
  bool isRequired = true;
  bool (*decode)(JsonReader&, void* record) = nullptr;
  bool (*encode)(JsonWriter&, const void* record) = nullptr;
  /// Null for a field that is not optional.
  bool (*isPresent)(const void* record) = nullptr;
  /// Called before a repeated key is read again, so that nothing of its first value remains.
  void (*clear)(void* record) = nullptr;
};

struct CaseCodec {
  std::string_view key;
  bool (*decode)(JsonReader&, void* variant) = nullptr;
  bool (*encode)(JsonWriter&, const void* variant) = nullptr;
};

bool decodeFields(JsonReader& reader, void* record, std::span<const FieldCodec> fields);
bool encodeFields(JsonWriter& writer, const void* record, std::span<const FieldCodec> fields);
bool decodeCases(JsonReader& reader, void* variant, std::span<const CaseCodec> cases);

bool decode(JsonReader& reader, bool& value);
bool decode(JsonReader& reader, double& value);
bool decode(JsonReader& reader, std::string& value);
bool decode(JsonReader& reader, SecretText& value);
bool decode(JsonReader& reader, Bytes& value);
bool decode(JsonReader& reader, UUID& value);
bool decode(JsonReader& reader, URL& value);
bool decode(JsonReader& reader, Date& value);
bool decode(JsonReader& reader, PointRect& value);
bool decode(JsonReader& reader, std::map<std::string, std::string>& value);

bool encode(JsonWriter& writer, const bool& value);
bool encode(JsonWriter& writer, const double& value);
bool encode(JsonWriter& writer, const std::string& value);
bool encode(JsonWriter& writer, const SecretText& value);
bool encode(JsonWriter& writer, const Bytes& value);
bool encode(JsonWriter& writer, const UUID& value);
bool encode(JsonWriter& writer, const URL& value);
bool encode(JsonWriter& writer, const Date& value);
bool encode(JsonWriter& writer, const PointRect& value);
bool encode(JsonWriter& writer, const std::map<std::string, std::string>& value);

template <class T>
concept Integer = std::integral<T> && !std::same_as<T, bool>;
template <class T>
concept TextEnum = std::is_enum_v<T> && boost::describe::has_describe_enumerators<T>::value;
template <class T>
concept Described = std::is_class_v<T> && boost::describe::has_describe_members<T>::value;

/// All are declared first, because lists, unions and records contain each other.
template <Integer T>
bool decode(JsonReader& reader, T& value);
template <TextEnum T>
bool decode(JsonReader& reader, T& value);
template <class T>
bool decode(JsonReader& reader, std::optional<T>& value);
template <class T>
bool decode(JsonReader& reader, std::vector<T>& values);
template <UnionCase... Case>
bool decode(JsonReader& reader, std::variant<Case...>& value);
template <Described T>
bool decode(JsonReader& reader, T& record);

template <Integer T>
bool encode(JsonWriter& writer, const T& value);
template <TextEnum T>
bool encode(JsonWriter& writer, const T& value);
template <class T>
bool encode(JsonWriter& writer, const std::optional<T>& value);
template <class T>
bool encode(JsonWriter& writer, const std::vector<T>& values);
template <UnionCase... Case>
bool encode(JsonWriter& writer, const std::variant<Case...>& value);
template <Described T>
bool encode(JsonWriter& writer, const T& record);

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <class Record, class Descriptor>
struct Field {
  using Value = std::remove_cvref_t<decltype(std::declval<Record&>().*Descriptor::pointer)>;

  static constexpr bool isDefaulted() {
    for (const std::string_view name : defaultedFields<Record>)
      if (name == Descriptor::name) return true;
    return false;
  }
  static bool decodeField(JsonReader& reader, void* record) {
    Value& value = static_cast<Record*>(record)->*Descriptor::pointer;
    if constexpr (isDefaulted()) {
      if (reader.peek() == JsonReader::Kind::null) {
        value = Record{}.*Descriptor::pointer;
        return reader.readNull();
      }
    }
    return decode(reader, value);
  }
  static bool encodeField(JsonWriter& writer, const void* record) {
    return encode(writer, static_cast<const Record*>(record)->*Descriptor::pointer);
  }
  static void clear(void* record) { static_cast<Record*>(record)->*Descriptor::pointer = Value{}; }
  static bool isPresent(const void* record) {
    if constexpr (isOptional<Value>)
      return (static_cast<const Record*>(record)->*Descriptor::pointer).has_value();
    return true;
  }
  static constexpr FieldCodec codec{Descriptor::name, !isOptional<Value> && !isDefaulted(),     &decodeField,
                                    &encodeField,     isOptional<Value> ? &isPresent : nullptr, &clear};
};

template <class Record, template <class...> class List, class... Descriptor>
constexpr auto fieldTable(List<Descriptor...>) {
  static_assert(sizeof...(Descriptor) <= 64, "decodeFields marks the fields it has found in 64 bits");
  return std::array<FieldCodec, sizeof...(Descriptor)>{Field<Record, Descriptor>::codec...};
}

template <class Record>
inline constexpr auto fieldsOf =
    fieldTable<Record>(boost::describe::describe_members<Record, boost::describe::mod_public>{});

template <class Variant, class Case>
struct UnionField {
  static bool decodeCase(JsonReader& reader, void* variant) {
    return decodeFields(reader, &static_cast<Variant*>(variant)->template emplace<Case>(), fieldsOf<Case>);
  }
  static bool encodeCase(JsonWriter& writer, const void* variant) {
    return encodeFields(writer, std::get_if<Case>(static_cast<const Variant*>(variant)), fieldsOf<Case>);
  }
};

template <class... Case>
inline constexpr std::array<CaseCodec, sizeof...(Case)> casesOf{
    CaseCodec{Case::key, &UnionField<std::variant<Case...>, Case>::decodeCase,
              &UnionField<std::variant<Case...>, Case>::encodeCase}...};

template <Integer T>
bool decode(JsonReader& reader, T& value) {
  using Wide = std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>;
  Wide wide = 0;
  if constexpr (std::is_signed_v<T>) {
    if (!reader.readSigned(wide)) return false;
  } else {
    if (!reader.readUnsigned(wide)) return false;
  }
  if (!std::in_range<T>(wide)) return reader.fail("number out of range");
  value = static_cast<T>(wide);
  return true;
}

template <TextEnum T>
bool decode(JsonReader& reader, T& value) {
  std::string_view text;
  if (!reader.readStringView(text)) return false;
  const auto known = fromRawValue<T>(text);
  if (!known) return reader.fail("unknown case of an enumeration");
  value = *known;
  return true;
}

template <class T>
bool decode(JsonReader& reader, std::optional<T>& value) {
  if (reader.peek() == JsonReader::Kind::null) {
    value.reset();
    return reader.readNull();
  }
  return decode(reader, value.emplace());
}

template <class T>
bool decode(JsonReader& reader, std::vector<T>& values) {
  values.clear();
  if (!reader.beginArray()) return false;
  JsonReader::Walk walk;
  for (;;) {
    const JsonReader::Step step = reader.nextElement(walk);
    if (step != JsonReader::Step::item) return step == JsonReader::Step::end;
    if (!reader.keepsValues()) values.clear();
    if (!decode(reader, values.emplace_back())) return false;
  }
}

template <UnionCase... Case>
bool decode(JsonReader& reader, std::variant<Case...>& value) {
  return decodeCases(reader, &value, casesOf<Case...>);
}

template <Described T>
bool decode(JsonReader& reader, T& record) {
  return decodeFields(reader, &record, fieldsOf<T>);
}

template <Integer T>
bool encode(JsonWriter& writer, const T& value) {
  if constexpr (std::is_signed_v<T>) {
    writer.writeSigned(value);
  } else {
    writer.writeUnsigned(value);
  }
  return true;
}

template <TextEnum T>
bool encode(JsonWriter& writer, const T& value) {
  writer.writeString(rawValue(value));
  return true;
}

template <class T>
bool encode(JsonWriter& writer, const std::optional<T>& value) {
  if (value) return encode(writer, *value);
  writer.writeNull();
  return true;
}

template <class T>
bool encode(JsonWriter& writer, const std::vector<T>& values) {
  writer.beginArray();
  for (const T& value : values) {
    writer.element();
    if (!encode(writer, value)) return false;
  }
  writer.endArray();
  return true;
}

template <UnionCase... Case>
bool encode(JsonWriter& writer, const std::variant<Case...>& value) {
  const CaseCodec& held = casesOf<Case...>[value.index()];
  writer.beginObject();
  writer.plainKey(held.key);
  if (!held.encode(writer, &value)) return false;
  writer.endObject();
  return true;
}

template <Described T>
bool encode(JsonWriter& writer, const T& record) {
  return encodeFields(writer, &record, fieldsOf<T>);
}

}  // namespace coding

/// Fails only if a number is not finite.
template <class T>
std::expected<Bytes, CodingError> encodeRecord(const T& record, JsonStyle style = JsonStyle::compact) {
  JsonWriter writer(style);
  if (!coding::encode(writer, record)) return std::unexpected(CodingError{"a number is not finite"});
  return writer.take();
}

/// T is a described record, a union, or a list or dictionary of them; the rules are those of ControlCoder.
template <class T>
std::expected<T, CodingError> decodeRecord(ByteView json) {
  JsonReader reader(json);
  T record{};
  if (!coding::decode(reader, record) || !reader.finish())
    return std::unexpected(CodingError{reader.error()});
  return record;
}

}  // namespace quorl
