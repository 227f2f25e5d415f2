// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Input/TextChunks.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl {
namespace {

using testing::ElementsAre;

std::vector<std::u16string> chunksOf(std::string_view text) {
  TextChunks chunks(text);
  std::vector<std::u16string> all;
  while (!chunks.isAtEnd()) all.push_back(chunks.next());
  return all;
}

TEST(TextChunks, areEmptyForAnEmptyText) {
  EXPECT_TRUE(chunksOf("").empty());
}

TEST(TextChunks, holdTwentyUnits) {
  EXPECT_THAT(chunksOf("abcdefghijklmnopqrst"), ElementsAre(u"abcdefghijklmnopqrst"));
  EXPECT_THAT(chunksOf("abcdefghijklmnopqrstu"), ElementsAre(u"abcdefghijklmnopqrst", u"u"));
}

TEST(TextChunks, doNotCutASurrogatePair) {
  EXPECT_THAT(chunksOf("abcdefghijklmnopqrs😀"), ElementsAre(u"abcdefghijklmnopqrs", u"😀"));
}

TEST(TextChunks, doNotCutACombinedCharacter) {
  EXPECT_THAT(chunksOf("abcdefghijklmnopqrse\u0301x"), ElementsAre(u"abcdefghijklmnopqrs", u"e\u0301x"));
}

TEST(TextChunks, keepAFamilyTogether) {
  // Man, woman, girl and boy joined: 11 units, so that two do not fit into one event.
  const std::string family = "👨‍👩‍👧‍👦";
  EXPECT_THAT(chunksOf(family + family),
              ElementsAre(u"👨‍👩‍👧‍👦", u"👨‍👩‍👧‍👦"));
}

TEST(TextChunks, putALongCharacterIntoItsOwnChunk) {
  std::string tower = "e";
  std::u16string units = u"e";
  for (int mark = 0; mark < 30; ++mark) {
    tower += "\u0301";
    units += u'\u0301';
  }
  EXPECT_THAT(chunksOf("ab" + tower + "cd"), ElementsAre(u"ab", units, u"cd"));
}

TEST(TextChunks, keepALineEndTogether) {
  EXPECT_THAT(chunksOf("abcdefghijklmnopqrs\r\n"), ElementsAre(u"abcdefghijklmnopqrs", u"\r\n"));
}

TEST(TextChunks, replaceInvalidBytes) {
  EXPECT_THAT(chunksOf("a\xFFz"), ElementsAre(u"a\uFFFDz"));
}

TEST(TextChunks, giveTheRestThatWasNotTaken) {
  TextChunks chunks("abcdefghijklmnopqrstuvw");
  EXPECT_EQ(chunks.rest().size(), 23U);
  chunks.next();
  EXPECT_EQ(chunks.rest(), u"uvw");
  TextChunks moved = std::move(chunks);
  EXPECT_EQ(moved.next(), u"uvw");
  EXPECT_TRUE(moved.isAtEnd());
  EXPECT_EQ(moved.next(), u"");
}

}  // namespace
}  // namespace quorl
