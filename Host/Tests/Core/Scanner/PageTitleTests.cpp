// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/PageTitle.h>

#include <random>

#include <gtest/gtest.h>

#include <QuorlHostCore/Text/RegularExpression.h>
#include <QuorlKit/Foundation/TextTools.h>

namespace quorl::test {
namespace {

TEST(PageTitle, isTheTextOfTheTitleElement) {
  EXPECT_EQ(extractTitle("<html><head><title>Grafana</title></head>"), "Grafana");
}

TEST(PageTitle, isAbsentWithoutATitleElement) {
  EXPECT_EQ(extractTitle(""), std::nullopt);
  EXPECT_EQ(extractTitle("<html><h1>title</h1></html>"), std::nullopt);
  EXPECT_EQ(extractTitle("<title"), std::nullopt);
  EXPECT_EQ(extractTitle("<title>"), std::nullopt);
  EXPECT_EQ(extractTitle("<title>open"), std::nullopt);
  EXPECT_EQ(extractTitle("<title>open</title"), std::nullopt);
}

TEST(PageTitle, matchesUpperCaseWithAttributesAndIsTrimmed) {
  EXPECT_EQ(extractTitle("<TITLE lang='en' data-x=\"1\">\r\n\t Build server \n</Title>"), "Build server");
  EXPECT_EQ(extractTitle("<title>\u00A0\u2003wide\u2028</title>"), "wide");
}

TEST(PageTitle, isAbsentIfOnlyWhiteSpace) {
  EXPECT_EQ(extractTitle("<title></title>"), std::nullopt);
  EXPECT_EQ(extractTitle("<title> \n </title><title>second</title>"), std::nullopt);
}

TEST(PageTitle, keepsEntitiesAndIsNotShortened) {
  EXPECT_EQ(extractTitle("<title>R&amp;D</title>"), "R&amp;D");
  const std::string title(60'000, 'x');
  EXPECT_EQ(extractTitle("<title>" + title + "</title>"), title);
}

TEST(PageTitle, isTheFirstOneThatIsClosedWithoutAnotherTag) {
  EXPECT_EQ(extractTitle("<title>a<b>c</title><title>d</title>"), "d");
  EXPECT_EQ(extractTitle("<title>a<title>b</title>"), "b");
  EXPECT_EQ(extractTitle("<titles>t</title>"), "t");
}

// The engine's answer is that of the definition, within the limits of its search.
TEST(PageTitle, agreesWithTheRegularExpression) {
  const auto expression = RegularExpression::compile("<title[^>]*>([^<]*)</title>", CaseRule::insensitive);
  ASSERT_TRUE(expression);
  constexpr std::string_view pieces[] = {"<title", "<TITLE", "</title>", "</TiTle>", "<",      ">", "a",
                                         " ",      "\n",     "/",        "title",    "\u017F", "é", "<b>"};
  std::mt19937 random(7);
  int found = 0;
  for (int round = 0; round < 50'000; ++round) {
    std::string page;
    for (unsigned left = random() % 12; left > 0; --left) page += pieces[random() % std::size(pieces)];
    std::optional<std::string> expected;
    if (const auto match = expression->firstMatch(page)) {
      const auto title = trimmedWhiteSpace(match->groups.at(1).value_or(""));
      if (!title.empty()) expected = title;
    }
    found += expected.has_value();
    ASSERT_EQ(extractTitle(page), expected) << page;
  }
  EXPECT_GT(found, 500);
}

TEST(PageTitle, isFoundInHostilePagesInLinearTime) {
  std::string openings;
  while (openings.size() < 65'536 * 64) openings += "<title";
  EXPECT_EQ(extractTitle(openings), std::nullopt);
  EXPECT_EQ(extractTitle(openings + ">x</title>"), "x");
  std::string elements;
  while (elements.size() < 65'536 * 64) elements += "<title>";
  EXPECT_EQ(extractTitle(elements), std::nullopt);
}

}  // namespace
}  // namespace quorl::test
