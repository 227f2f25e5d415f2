// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Windows/WindowProperties.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl::test {
namespace {

using namespace std::string_literals;

TEST(WindowTitle, isTheUTF8NameElseTheOlderOne) {
  EXPECT_EQ(boundedTitle("Grüße", "old"), "Grüße");
  EXPECT_EQ(boundedTitle("", "old"), "old");
  EXPECT_EQ(boundedTitle("", "caf\xE9"), "café");
  EXPECT_EQ(boundedTitle("", "café"), "café");
}

TEST(WindowTitle, keepsSpacesAndControlCharactersAndEndsAtAZero) {
  EXPECT_EQ(boundedTitle("  a\tb\x1B[31m\r\n ", ""), "  a\tb\x1B[31m\r\n ");
  EXPECT_EQ(boundedTitle("a\0b"s, ""), "a");
  EXPECT_EQ(boundedTitle("\0b"s, "old"), "old");
}

TEST(WindowTitle, isBoundedAndValidForAnyBytes) {
  const std::vector<std::string> texts{std::string(5'000'000, 'x'), std::string(4096, '\xFF'),
                                       std::string(1023, 'x') + "é", "\xE4\xB8",
                                       std::string(1022, 'x') + "世界"};
  for (const auto& text : texts) {
    for (const auto& title : {boundedTitle(text, ""), boundedTitle("", text)}) {
      EXPECT_LE(title.size(), 1'024U);
      EXPECT_TRUE(isValidUTF8(title));
    }
  }
  EXPECT_EQ(boundedTitle(std::string(1023, 'x') + "é", "").size(), 1'023U);
}

TEST(WindowClass, hasTwoTexts) {
  EXPECT_EQ(parseWindowClass("xterm\0XTerm\0"s), (WindowClass{"xterm", "XTerm"}));
  EXPECT_EQ(parseWindowClass("xterm\0XTerm"s), (WindowClass{"xterm", "XTerm"}));
  EXPECT_EQ(parseWindowClass("Only"), (WindowClass{"", "Only"}));
  EXPECT_EQ(parseWindowClass(""), (WindowClass{}));
  EXPECT_EQ(parseWindowClass("\0\0"s), (WindowClass{}));
  EXPECT_EQ(parseWindowClass("a\0b\0c\0"s), (WindowClass{"a", "b"}));
}

}  // namespace
}  // namespace quorl::test
