// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Text/RegularExpression.h>

#include <gtest/gtest.h>

#include <string>

namespace quorl {
namespace {

RegularExpression compiled(std::string_view pattern, CaseRule rule = CaseRule::sensitive) {
  auto expression = RegularExpression::compile(pattern, rule);
  EXPECT_TRUE(expression.has_value()) << pattern;
  return *expression;
}

TEST(RegularExpression, supportsLookBehindAndUnicodeWordCharacters) {
  const auto word = compiled(R"((?<![\w-])codex(?![\w-]))");
  EXPECT_TRUE(word.isFoundIn("vim codex.log"));
  EXPECT_FALSE(word.isFoundIn("my-codex-tool"));
  EXPECT_FALSE(word.isFoundIn("codex2"));
  EXPECT_FALSE(word.isFoundIn("écodex"));
  EXPECT_FALSE(word.isFoundIn("codexж"));
}

TEST(RegularExpression, ignoresCaseOnlyWhenAsked) {
  EXPECT_TRUE(compiled("straße", CaseRule::insensitive).isFoundIn("STRASSE"));
  EXPECT_FALSE(compiled("abc").isFoundIn("ABC"));
}

TEST(RegularExpression, matchesTheDollarAtTheEndOfTheTextAndNotOfALine) {
  const auto prompt = compiled(R"(❯\s*$)");
  EXPECT_TRUE(prompt.isFoundIn("a\n❯ "));
  EXPECT_TRUE(prompt.isFoundIn("❯ \n"));
  EXPECT_FALSE(prompt.isFoundIn("❯ \nmore"));
}

TEST(RegularExpression, returnsPiecesOfTheTextByBytes) {
  const std::string text = "é <title>Grüße</title>";
  const auto match = compiled("<(t.*?)>(.*?)(x)?</").firstMatch(text);
  ASSERT_TRUE(match.has_value());
  EXPECT_EQ(match->whole(), "<title>Grüße</");
  ASSERT_EQ(match->groups.size(), 4U);
  EXPECT_EQ(match->groups[1], "title");
  EXPECT_EQ(match->groups[2], "Grüße");
  EXPECT_EQ(match->groups[3], std::nullopt);
  EXPECT_EQ(match->groups[2]->data(), text.data() + text.find("Gr"));
}

TEST(RegularExpression, refusesABrokenPattern) {
  const auto broken = RegularExpression::compile("(a");
  ASSERT_FALSE(broken.has_value());
  EXPECT_NE(broken.error().find("PAREN"), std::string::npos) << broken.error();
}

TEST(RegularExpression, findsNothingWhenAPatternExplodes) {
  const auto explosive = compiled("^(a+)+$");
  EXPECT_TRUE(explosive.isFoundIn("aaaa"));
  EXPECT_FALSE(explosive.isFoundIn(std::string(64, 'a') + "b"));
  EXPECT_FALSE(explosive.firstMatch(std::string(64, 'a') + "b").has_value());
}

TEST(RegularExpression, findsNothingWhenTheSearchNeedsTooMuchMemory) {
  EXPECT_FALSE(compiled("(?:a|b)*c").isFoundIn(std::string(1 << 20, 'a')));
}

TEST(RegularExpression, toleratesBytesThatAreNoUTF8) {
  EXPECT_TRUE(
      compiled("b$").isFoundIn("a\xff\xfe"
                               "b"));
  EXPECT_EQ(compiled("a").removedFrom("\xc3"
                                      "a\xff"
                                      "a"),
            "\xc3\xff");
}

TEST(RegularExpression, escapesSpecialCharacters) {
  const std::string odd = R"(a.b*c[d](e){f}^g$h|i\j+k?l-m#n)";
  const auto literal = compiled(RegularExpression::escaped(odd));
  EXPECT_TRUE(literal.isFoundIn(odd));
  EXPECT_FALSE(literal.isFoundIn("aXb*c[d](e){f}^g$h|i\\j+k?l-m#n"));
}

TEST(RegularExpression, canBeSearchedFromACopyAfterTheOriginalHasGone) {
  std::optional<RegularExpression> original = compiled("x");
  const RegularExpression copy = *original;
  original.reset();
  EXPECT_TRUE(copy.isFoundIn("axb"));
}

}  // namespace
}  // namespace quorl
