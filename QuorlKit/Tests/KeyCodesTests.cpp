// SPDX-License-Identifier: GPL-3.0-or-later
#include <set>

#include <gtest/gtest.h>

#include <QuorlKit/Protocol/KeyCodes.h>

namespace quorl {
namespace {

TEST(KeyCodes, namesEachOfTheHundredAndTwentyKeysOfAMacOnce) {
  std::set<std::uint16_t> codes;
  std::set<std::uint16_t> beyond;
  for (const auto& entry : keyCodeTable()) {
    EXPECT_TRUE((entry.code < beyondMac ? codes : beyond).insert(entry.code).second) << entry.code;
    EXPECT_LE(entry.xkbName.size(), 4U);
  }
  EXPECT_EQ(codes.size(), 120U);
  EXPECT_EQ(beyond.size(), 22U);
  EXPECT_FALSE(xkbKeyName(0x7F).has_value());
  EXPECT_FALSE(xkbKeyName(0xFFFF).has_value());
}

TEST(KeyCodes, numbersTheOtherKeysByTheirScanCodes) {
  for (const auto& entry : keyCodeTable()) {
    if (entry.code < beyondMac) continue;
    EXPECT_EQ(entry.code, beyondMac + entry.scanCode);
  }
}

TEST(KeyCodes, findsEachKeyByItsScanCode) {
  std::set<std::uint16_t> scanCodes;
  for (const auto& entry : keyCodeTable()) {
    if (entry.scanCode == 0) continue;
    EXPECT_TRUE(scanCodes.insert(entry.scanCode).second) << entry.xkbName;
    EXPECT_EQ(keyCodeOfScanCode(entry.scanCode), entry.code) << entry.xkbName;
  }
  EXPECT_EQ(keyCodeOfScanCode(30), 0x00);   // A
  EXPECT_EQ(keyCodeOfScanCode(96), 0x4C);   // Enter of the keypad
  EXPECT_EQ(keyCodeOfScanCode(95), 0x5F);   // comma of the Japanese keypad
  EXPECT_EQ(keyCodeOfScanCode(99), 0x163);  // Print
  EXPECT_FALSE(keyCodeOfScanCode(0).has_value());
  EXPECT_FALSE(keyCodeOfScanCode(0xFFFF).has_value());
}

TEST(KeyCodes, knowsTheKeypadsCharacters) {
  EXPECT_TRUE(isKeypadCharacter(0x52));
  EXPECT_TRUE(isKeypadCharacter(0x5C));
  EXPECT_TRUE(isKeypadCharacter(0x41));
  EXPECT_FALSE(isKeypadCharacter(0x4C));
  EXPECT_FALSE(isKeypadCharacter(0x5A));
}

}  // namespace
}  // namespace quorl
