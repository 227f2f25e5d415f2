// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/SnapshotDiff.h>

#include <random>

#include <gtest/gtest.h>

#include <QuorlKit/Foundation/TextTools.h>

namespace quorl {
namespace {

using SnapshotDiff::newTail;

TEST(NewTail, isWhatFollowsTheLongestOverlap) {
  EXPECT_EQ(newTail("a\nb\nc", "b\nc\nd"), "d");
  EXPECT_EQ(newTail("a\na\na", "a\na\na\nb"), "b");
  EXPECT_EQ(newTail("x\na\nx", "x\na\nb"), "a\nb") << "one line overlaps, not the two that only look alike";
}

TEST(NewTail, isEverythingWithoutAnOverlap) {
  EXPECT_EQ(newTail("a\nb", "x\ny"), "x\ny");
  EXPECT_EQ(newTail("", "x\ny"), "x\ny");
  EXPECT_EQ(newTail("a", ""), "");
  EXPECT_EQ(newTail("a", "ab"), "ab") << "lines, not characters";
}

TEST(NewTail, isNothingWhenNothingChanged) {
  EXPECT_EQ(newTail("a\nb", "a\nb"), "");
  EXPECT_EQ(newTail("", ""), "");
  EXPECT_EQ(newTail("a\nb", "b"), "") << "the top was cleared";
}

TEST(NewTail, keepsEmptyLines) {
  EXPECT_EQ(newTail("a\n", "a\n\n\nb"), "\nb") << "the empty line at the end overlaps too";
  EXPECT_EQ(newTail("a", "a\n\nb\n"), "\nb\n");
}

TEST(NewTail, seesNoOverlapOfMoreThan512Lines) {
  std::string previous = "0";
  for (int i = 1; i < 512; ++i) previous.append("\n").append(std::to_string(i));
  EXPECT_EQ(newTail(previous, previous + "\nnew"), "new");
  previous += "\n512";
  EXPECT_EQ(newTail(previous, previous + "\nnew"), previous + "\nnew");
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines(1);
  for (const char c : text) {
    if (c == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  return lines;
}

/// The definition taken literally: every count, from the longest down.
std::string plainNewTail(const std::string& previous, const std::string& current) {
  if (previous.empty()) return current;
  if (previous == current) return "";
  const auto old = linesOf(previous);
  const auto fresh = linesOf(current);
  std::size_t k = std::min({old.size(), fresh.size(), std::size_t{512}});
  while (k > 0 && !std::equal(old.end() - static_cast<std::ptrdiff_t>(k), old.end(), fresh.begin())) --k;
  std::string tail;
  for (std::size_t i = k; i < fresh.size(); ++i) tail.append(i > k ? "\n" : "").append(fresh[i]);
  return tail;
}

TEST(NewTail, agreesWithItsDefinitionOnRandomTexts) {
  std::mt19937 random(7);
  const auto text = [&random](unsigned letters) {
    std::string result;
    const unsigned length = random() % 24;
    for (unsigned i = 0; i < length; ++i)
      result += random() % 2 == 0 ? '\n' : static_cast<char>('a' + random() % letters);
    return result;
  };
  for (int i = 0; i < 50'000; ++i) {
    const unsigned letters = 1 + random() % 2;
    const std::string previous = text(letters);
    const std::string current =
        random() % 2 == 0 ? text(letters) : previous.substr(previous.size() / 2) + text(letters);
    ASSERT_EQ(newTail(previous, current), plainNewTail(previous, current))
        << '[' << previous << "] [" << current << ']';
  }
}

TEST(Normalising, writesEveryLineEndAsCarriageReturnAndLineFeed) {
  EXPECT_EQ(SnapshotDiff::normalised("a\nb\rc\r\nd\r\r\n"), "a\r\nb\r\nc\r\nd\r\n\r\n");
  EXPECT_EQ(SnapshotDiff::normalised(""), "");
}

TEST(LastCharacters, countsAsAPersonDoes) {
  EXPECT_EQ(lastCharacters("abc", 2), "bc");
  EXPECT_EQ(lastCharacters("abc", 3), "abc");
  EXPECT_EQ(lastCharacters("abc", 0), "");
  EXPECT_EQ(lastCharacters("", 4), "");
  EXPECT_EQ(lastCharacters("x\r\ny", 2), "\r\ny");
  EXPECT_EQ(lastCharacters("xe\u0301\U0001F1E9\U0001F1EA", 2), "e\u0301\U0001F1E9\U0001F1EA");
}

}  // namespace
}  // namespace quorl
