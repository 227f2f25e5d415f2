// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <string_view>
#include <variant>

#include <boost/describe/class.hpp>

/// An enumeration with payloads is a std::variant of case structs in declared order. A case struct has its
/// JSON key as `key`; its described members are the keys of its payload. An unlabelled payload is the member
/// `_0`.
namespace quorl {

template <std::size_t size>
struct FixedString {
  std::array<char, size> characters{};

  consteval FixedString(const char (&text)[size]) { std::copy_n(text, size, characters.begin()); }
  constexpr std::string_view view() const { return {characters.data(), size - 1}; }

  bool operator==(const FixedString&) const = default;
};

/// A case without payload.
template <FixedString caseKey>
struct PlainCase {
  static constexpr std::string_view key = caseKey.view();

  bool operator==(const PlainCase&) const = default;
  BOOST_DESCRIBE_CLASS(PlainCase, (), (), (), ())
};

/// A case with one unlabelled payload.
template <FixedString caseKey, class Payload>
struct UnlabelledCase {
  static constexpr std::string_view key = caseKey.view();
  Payload _0{};

  bool operator==(const UnlabelledCase&) const = default;
  BOOST_DESCRIBE_CLASS(UnlabelledCase, (), (_0), (), ())
};

template <class T>
concept UnionCase = requires {
  { T::key } -> std::convertible_to<std::string_view>;
};

/// The JSON key of the case that the union holds.
template <UnionCase... Case>
constexpr std::string_view caseName(const std::variant<Case...>& value) {
  constexpr std::array<std::string_view, sizeof...(Case)> names{Case::key...};
  return value.valueless_by_exception() ? std::string_view{} : names[value.index()];
}

}  // namespace quorl
