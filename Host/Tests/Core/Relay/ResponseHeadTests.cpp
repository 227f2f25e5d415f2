// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostCore/Relay/ResponseHead.h>

namespace quorl::test {
namespace {

const std::string line = "Set-Cookie: quorl_token=x";

// The bytes passed on, and how many pieces it took.
std::pair<std::string, std::size_t> passed(const std::vector<std::string>& pieces) {
  ResponseHead head(line);
  for (std::size_t index = 0; index < pieces.size(); ++index)
    if (const auto bytes = head.append(viewOf(pieces[index]))) return {textOf(*bytes), index + 1};
  return {"", 0};
}

TEST(ResponseHead, insertsTheLineAsTheFirstHeader) {
  EXPECT_EQ(passed({"HTTP/1.1 200 OK\r\nA: b\r\n\r\nbody\r\n\r\n"}).first,
            "HTTP/1.1 200 OK\r\n" + line + "\r\nA: b\r\n\r\nbody\r\n\r\n");
}

TEST(ResponseHead, findsTheEndOfTheHeadHoweverItIsSplit) {
  const std::string response = "HTTP/1.1 200 OK\r\nA: b\r\n\r\n";
  const std::string expected = "HTTP/1.1 200 OK\r\n" + line + "\r\nA: b\r\n\r\n";
  for (std::size_t first = 0; first <= response.size(); ++first)
    for (std::size_t second = first; second <= response.size(); ++second)
      ASSERT_EQ(
          passed({response.substr(0, first), response.substr(first, second - first), response.substr(second)})
              .first,
          expected)
          << first << " " << second;
  std::vector<std::string> single;
  for (const char byte : response) single.emplace_back(1, byte);
  EXPECT_EQ(passed(single), std::pair(expected, response.size()));
}

TEST(ResponseHead, leavesAHeadThatIsOnlyAStatusLine) {
  EXPECT_EQ(passed({"HTTP/1.1 200 OK\r\n\r\nbody"}).first, "HTTP/1.1 200 OK\r\n\r\nbody");
  EXPECT_EQ(passed({"\r\n\r\n"}).first, "\r\n\r\n");
}

TEST(ResponseHead, holdsAnIncompleteHeadUpToTheLimit) {
  const std::string most(ResponseHead::limit, 'x');
  EXPECT_EQ(passed({most}).second, 0U);
  EXPECT_EQ(passed({most, "y"}), std::pair(most + "y", std::size_t{2}));
}

TEST(ResponseHead, findsATerminatorThatArrivesWithTheByteBeyondTheLimit) {
  const std::string response = "HTTP/1.1 200 OK\r\n" + std::string(ResponseHead::limit, 'x');
  EXPECT_EQ(passed({response + "\r\n\r\n"}).first,
            "HTTP/1.1 200 OK\r\n" + line + "\r\n" + response.substr(17) + "\r\n\r\n");
}

}  // namespace
}  // namespace quorl::test
