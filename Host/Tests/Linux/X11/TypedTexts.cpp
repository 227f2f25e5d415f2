// SPDX-License-Identifier: GPL-3.0-or-later
#include "TypedTexts.h"

#include <array>
#include <random>

#include <gtest/gtest.h>

#include <QuorlKit/Foundation/UTF8.h>
#include <Support/Eventually.h>

namespace quorl::test {

void type(EventPoster& poster, const std::u16string& text) {
  constexpr std::size_t longest = 20;
  for (std::size_t start = 0; start < text.size();) {
    std::size_t length = std::min(longest, text.size() - start);
    const char16_t last = text[start + length - 1];
    if (last >= 0xD800 && last < 0xDC00) --length;
    for (const bool down : {true, false}) {
      poster.post(KeyboardEvent{.keyCode = 0, .down = down, .unicode = text.substr(start, length)});
    }
    start += length;
    const auto following = std::u16string_view(text).substr(start);
    EXPECT_TRUE(eventually([&] { return poster.finishText(following) == Duration::zero(); }));
  }
}

std::u16string randomText(unsigned seed, int count) {
  struct Range {
    char32_t first;
    char32_t last;
  };
  constexpr std::array ranges{Range{U'!', U'~'},      Range{0xC0, 0xFF},     Range{0x100, 0x17F},
                              Range{0x391, 0x3A1},    Range{0x3B1, 0x3C9},   Range{0x410, 0x44F},
                              Range{0x4E00, 0x9FA5},  Range{0xAC00, 0xD7A3}, Range{0x2200, 0x22FF},
                              Range{0x1F600, 0x1F64F}};
  std::mt19937 random(seed);
  std::u16string text;
  for (int i = 0; i < count; ++i) {
    const auto& range = ranges[random() % ranges.size()];
    char32_t c = range.first + random() % (range.last - range.first + 1);
    if (i % 11 == 10) c = U' ';
    if (c >= 0x10000) {
      text.push_back(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
      text.push_back(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
    } else {
      text.push_back(static_cast<char16_t>(c));
    }
  }
  return text;
}

std::string utf8Of(const std::u16string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c < 0xDC00) c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00U);
    appendUTF8(out, c);
  }
  return out;
}

}  // namespace quorl::test
