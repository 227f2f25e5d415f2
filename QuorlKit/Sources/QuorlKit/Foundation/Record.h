// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include <boost/describe/class.hpp>
#include <boost/describe/enum.hpp>
#include <boost/describe/enumerators.hpp>

/// Declarations about a record or a text enumeration beside BOOST_DESCRIBE_STRUCT and BOOST_DESCRIBE_ENUM.
/// Its coding (Protocol/RecordCoding.h) and its hash (RecordHash.h) are derived from them.
namespace quorl {

/// Fields that keep the value of their member initialiser if the key is missing or null. All other fields
/// that are not optional are required. Specialise it beside the record:
///   template <> inline constexpr std::array defaultedFields<X> = {std::string_view("a")};
template <class Record>
inline constexpr std::array<std::string_view, 0> defaultedFields{};

/// The value that an unknown raw text decodes to. Without one, decoding fails.
template <class Enum>
inline constexpr std::optional<Enum> unknownRawValue{};

namespace detail {
template <class Enum, template <class...> class List, class... Descriptor>
consteval auto rawValueTable(List<Descriptor...>) {
  return std::array<std::pair<Enum, std::string_view>, sizeof...(Descriptor)>{
      {{Descriptor::value, std::string_view(Descriptor::name)}...}};
}
}  // namespace detail

/// All cases in declared order with their raw texts. The raw text of a described enumerator is its name.
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
