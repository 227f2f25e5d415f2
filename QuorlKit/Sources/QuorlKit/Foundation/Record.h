// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include <boost/describe/class.hpp>
#include <boost/describe/enum.hpp>
#include <boost/describe/enumerators.hpp>

// What a record or a text enumeration declares about itself, beside BOOST_DESCRIBE_STRUCT and
// BOOST_DESCRIBE_ENUM: from these come its coding (Protocol/RecordCoding.h) and its hash (RecordHash.h).
namespace quorl {

// The fields whose value stays as the record's member initialiser gives it when the key is missing or null.
// All other fields that are not optional are required. Specialise it beside the record:
//   template <> inline constexpr std::array defaultedFields<X> = {std::string_view("a")};
template <class Record>
inline constexpr std::array<std::string_view, 0> defaultedFields{};

// What an unknown raw text decodes as; without a value it fails the decoding.
template <class Enum>
inline constexpr std::optional<Enum> unknownRawValue{};

namespace detail {
template <class Enum, template <class...> class List, class... Descriptor>
consteval auto rawValueTable(List<Descriptor...>) {
  return std::array<std::pair<Enum, std::string_view>, sizeof...(Descriptor)>{
      {{Descriptor::value, std::string_view(Descriptor::name)}...}};
}
}  // namespace detail

// All cases in declared order with their raw texts; a described enumeration's raw text is the case's name.
template <class Enum>
inline constexpr auto rawValues = detail::rawValueTable<Enum>(boost::describe::describe_enumerators<Enum>{});

template <class Enum>
constexpr std::string_view rawValue(Enum value) {
  for (const auto& [known, text] : rawValues<Enum>)
    if (known == value) return text;
  return {};
}

template <class Enum>
constexpr std::optional<Enum> fromRawValue(std::string_view text) {
  for (const auto& [known, raw] : rawValues<Enum>)
    if (raw == text) return known;
  return unknownRawValue<Enum>;
}

}  // namespace quorl
