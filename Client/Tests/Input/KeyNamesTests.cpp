// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Input/KeyNames.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

TEST(KeyNames, readNamesCodesAndModifiersInAnyOrderAndCase) {
  const auto command = WireModifiers::command;
  const std::vector<std::pair<std::string, KeyPress>> table{
      {"return", {36, {}}},
      {"A", {0, {}}},
      {"5", {23, {}}},
      {"05", {5, {}}},
      {"36", {36, {}}},
      {"0x7E", {126, {}}},
      {"a+command", {0, command}},
      {"cmd+A", {0, command}},
      {"shift+command+4", {21, WireModifiers::shift | command}},
      {"fn+up+ctrl+alt", {126, WireModifiers::function | WireModifiers::control | WireModifiers::option}},
      {"shift", {56, {}}},
  };
  for (const auto& [text, expected] : table) EXPECT_EQ(parseKeyPress(text), expected) << text;
}

TEST(KeyNames, rejectOtherText) {
  for (const auto* text : {"", "+", "a+", "a+b", "nokey", "65536", "0x", "-5", "shift+command", "1e2"})
    EXPECT_EQ(parseKeyPress(text), std::nullopt) << text;
}

TEST(KeyNames, holdModifiersAsKeysAndAsFlags) {
  const auto shift = WireModifiers::shift;
  const auto both = shift | WireModifiers::command;
  const std::vector<inputEvent::Key> expected{
      {56, true, shift}, {55, true, both},   {21, true, both},
      {21, false, both}, {55, false, shift}, {56, false, {}},
  };
  EXPECT_EQ(keyEvents({21, both}), expected);
}

TEST(KeyNames, makeTwoEventsForAPlainKey) {
  EXPECT_EQ(keyEvents({36, {}}), (std::vector<inputEvent::Key>{{36, true, {}}, {36, false, {}}}));
}

}  // namespace
}  // namespace quorl::client
