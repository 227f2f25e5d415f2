// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/TextChunks.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl {
namespace {

using testing::ElementsAre;

TEST(TextChunks, ofNothingAreNone) {
  EXPECT_TRUE(keyboardTextChunks("").empty());
}

TEST(TextChunks, holdTwentyUnits) {
  EXPECT_THAT(keyboardTextChunks("abcdefghijklmnopqrst"), ElementsAre(u"abcdefghijklmnopqrst"));
  EXPECT_THAT(keyboardTextChunks("abcdefghijklmnopqrstu"), ElementsAre(u"abcdefghijklmnopqrst", u"u"));
}

TEST(TextChunks, doNotCutASurrogatePair) {
  EXPECT_THAT(keyboardTextChunks("abcdefghijklmnopqrs😀"), ElementsAre(u"abcdefghijklmnopqrs", u"😀"));
}

TEST(TextChunks, doNotCutACombinedCharacter) {
  EXPECT_THAT(keyboardTextChunks("abcdefghijklmnopqrse\u0301x"),
              ElementsAre(u"abcdefghijklmnopqrs", u"e\u0301x"));
}

TEST(TextChunks, keepAFamilyTogether) {
  // Man, woman, girl and boy joined: 11 units. Two do not fit into one event.
  const std::string family = "👨‍👩‍👧‍👦";
  EXPECT_THAT(keyboardTextChunks(family + family),
              ElementsAre(u"👨‍👩‍👧‍👦", u"👨‍👩‍👧‍👦"));
}

TEST(TextChunks, giveALongCharacterAChunkOfItsOwn) {
  std::string tower = "e";
  std::u16string units = u"e";
  for (int mark = 0; mark < 30; ++mark) {
    tower += "\u0301";
    units += u'\u0301';
  }
  EXPECT_THAT(keyboardTextChunks("ab" + tower + "cd"), ElementsAre(u"ab", units, u"cd"));
}

TEST(TextChunks, keepALineEndTogether) {
  EXPECT_THAT(keyboardTextChunks("abcdefghijklmnopqrs\r\n"), ElementsAre(u"abcdefghijklmnopqrs", u"\r\n"));
}

TEST(TextChunks, replaceInvalidBytes) {
  EXPECT_THAT(keyboardTextChunks("a\xFFz"), ElementsAre(u"a\uFFFDz"));
}

}  // namespace
}  // namespace quorl
