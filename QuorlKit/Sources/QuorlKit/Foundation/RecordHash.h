// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include <boost/describe/members.hpp>
#include <boost/mp11/algorithm.hpp>

#include <QuorlKit/Foundation/Date.h>
#include <QuorlKit/Foundation/Geometry.h>
#include <QuorlKit/Foundation/SecretText.h>
#include <QuorlKit/Foundation/URL.h>
#include <QuorlKit/Foundation/UUID.h>

namespace quorl {

/// A hash over every described field of a record, consistent with its equality:
///   std::unordered_set<WindowInfo, RecordHash>
struct RecordHash {
  template <class T>
  std::size_t operator()(const T& value) const {
    std::size_t seed = 0;
    mix(seed, value);
    return seed;
  }

 private:
  static void combine(std::size_t& seed, std::size_t hash) {
    seed ^= hash + 0x9E3779B97F4A7C15ULL + (seed << 6) + (seed >> 2);
  }

  template <class T>
    requires std::is_arithmetic_v<T> || std::is_enum_v<T>
  static void mix(std::size_t& seed, const T& value) {
    combine(seed, std::hash<T>{}(value));
  }
  static void mix(std::size_t& seed, const std::string& value) {
    combine(seed, std::hash<std::string>{}(value));
  }
  static void mix(std::size_t& seed, const SecretText& value) {
    combine(seed, std::hash<std::string_view>{}(value.view()));
  }
  static void mix(std::size_t& seed, const UUID& value) { combine(seed, std::hash<UUID>{}(value)); }
  static void mix(std::size_t& seed, const URL& value) { mix(seed, value.absolute); }
  static void mix(std::size_t& seed, const Date& value) { mix(seed, value.secondsSince1970); }
  static void mix(std::size_t& seed, const PointRect& value) {
    for (const double part : {value.origin.x, value.origin.y, value.size.width, value.size.height})
      mix(seed, part);
  }
  template <class T>
  static void mix(std::size_t& seed, const std::optional<T>& value) {
    combine(seed, value ? 1 : 0);
    if (value) mix(seed, *value);
  }
  template <class T>
  static void mix(std::size_t& seed, const std::vector<T>& values) {
    combine(seed, values.size());
    for (const T& value : values) mix(seed, value);
  }
  static void mix(std::size_t& seed, const std::map<std::string, std::string>& values) {
    combine(seed, values.size());
    for (const auto& [key, value] : values) {
      mix(seed, key);
      mix(seed, value);
    }
  }
  template <class... Case>
  static void mix(std::size_t& seed, const std::variant<Case...>& value) {
    combine(seed, value.index());
    std::visit([&seed](const auto& held) { mix(seed, held); }, value);
  }
  template <class T>
    requires boost::describe::has_describe_members<T>::value
  static void mix(std::size_t& seed, const T& record) {
    using Members = boost::describe::describe_members<T, boost::describe::mod_public>;
    boost::mp11::mp_for_each<Members>([&](auto member) { mix(seed, record.*member.pointer); });
  }
};

}  // namespace quorl
