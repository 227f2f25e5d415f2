// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Scanner/HTTPAnswer.h>

#include <vector>

#include <gtest/gtest.h>

namespace quorl::test {
namespace {

using State = HTTPAnswer::State;

HTTPAnswer answerOf(std::string_view text) {
  HTTPAnswer answer;
  answer.append(viewOf(text));
  return answer;
}

TEST(HTTPAnswer, hasAStatusAndABodyOfTheStatedLength) {
  const HTTPAnswer answer = answerOf("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nhelloMORE");
  EXPECT_EQ(answer.state(), State::complete);
  EXPECT_EQ(answer.status(), 200);
  EXPECT_EQ(answer.body(), "hello");
}

TEST(HTTPAnswer, isTheSameHoweverItsBytesAreSplit) {
  constexpr std::string_view text =
      "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 302 Found\r\nLOCATION:\t/next \r\nTransfer-Encoding: gzip, "
      "Chunked\r\n"
      "\r\n3;x=y\r\nabc\r\nA\n0123456789\n0\r\nTrailer: 1\r\n\r\n";
  for (std::size_t split = 0; split <= text.size(); ++split) {
    HTTPAnswer answer;
    answer.append(viewOf(text.substr(0, split)));
    answer.append(viewOf(text.substr(split)));
    ASSERT_EQ(answer.state(), State::complete) << split;
    ASSERT_EQ(answer.status(), 302) << split;
    ASSERT_EQ(answer.location(), "/next") << split;
    ASSERT_EQ(answer.body(), "abc0123456789") << split;
  }
  HTTPAnswer byByte;
  for (const char byte : text) byByte.append(viewOf(std::string_view(&byte, 1)));
  EXPECT_EQ(byByte.body(), "abc0123456789");
}

TEST(HTTPAnswer, withoutALengthGoesOnUntilTheConnectionEnds) {
  const HTTPAnswer answer = answerOf("HTTP/1.0 404 Not Found\r\n\r\nmissing");
  EXPECT_EQ(answer.state(), State::open);
  EXPECT_TRUE(answer.hasHead());
  EXPECT_EQ(answer.status(), 404);
  EXPECT_EQ(answer.body(), "missing");
}

TEST(HTTPAnswer, endsWithTheHeadIfItHasNoBody) {
  EXPECT_EQ(answerOf("HTTP/1.1 204 No Content\r\n\r\n").state(), State::complete);
  EXPECT_EQ(answerOf("HTTP/1.1 304\r\n\r\n").state(), State::complete);
  EXPECT_EQ(answerOf("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n").state(), State::complete);
  EXPECT_EQ(answerOf("HTTP/1.1 101 Switching\r\n\r\nframes").body(), "");
}

TEST(HTTPAnswer, keepsTheFirst65536BytesOfTheBody) {
  const std::string body = std::string(65'536, 'a') + "b";
  const HTTPAnswer answer = answerOf("HTTP/1.1 200 OK\r\n\r\n" + body);
  EXPECT_EQ(answer.state(), State::complete);
  EXPECT_EQ(answer.body(), body.substr(0, 65'536));
}

TEST(HTTPAnswer, isRefusedAtTheFirstByteOfAnotherProtocol) {
  for (const char* text :
       {"SSH-2.0-OpenSSH_9.2\r\n", "h", "HTTP/2.0 200 OK\r\n", "HTTP/1.1  200 OK\r\n", "HTTP/1.1 2x0",
        "HTTP/1.1 200x", "\x15\x03\x01\x00\x02", "-ERR unknown command\r\n", "\r\nHTTP/1.1 200",
        "HTTP/1.1 200OK\r\n", "HTTP/1.1\r\n", "HTTP/1.1 20\r\n", "HTTP/1.1 099 x\r\n"})
    EXPECT_EQ(answerOf(text).state(), State::notHTTP) << text;
  EXPECT_EQ(answerOf("HTTP/1.1 20").state(), State::open);
}

TEST(HTTPAnswer, isRefusedIfItsHeadsAreTooLong) {
  std::string head = "HTTP/1.1 200 OK\r\n";
  while (head.size() < HTTPAnswer::maxHead) head += "X-Filler: " + std::string(100, 'x') + "\r\n";
  EXPECT_EQ(answerOf(head).state(), State::notHTTP);
  EXPECT_EQ(answerOf("HTTP/1.1 200 OK\r\nX: " + std::string(HTTPAnswer::maxHead, 'x')).state(),
            State::notHTTP);
  std::string interim;
  while (interim.size() < HTTPAnswer::maxHead) interim += "HTTP/1.1 103 Early Hints\r\n\r\n";
  EXPECT_EQ(answerOf(interim + "HTTP/1.1 200 OK\r\n\r\n").state(), State::notHTTP);
}

TEST(HTTPAnswer, ignoresFieldsThatItCannotRead) {
  const HTTPAnswer answer =
      answerOf("HTTP/1.1 200\r\nno colon\r\n: empty\r\nContent-Length: -5\r\nContent-Length: x\r\n\r\nbody");
  EXPECT_EQ(answer.state(), State::open);
  EXPECT_EQ(answer.body(), "body");
}

TEST(HTTPAnswer, keepsTheBeginningOfAMalformedChunkedBody) {
  const std::string head = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  EXPECT_EQ(answerOf(head + "3\r\nabc\r\nxyz\r\n").body(), "abc");
  EXPECT_EQ(answerOf(head + "3\r\nabc\r\nxyz\r\n").state(), State::complete);
  EXPECT_EQ(answerOf(head + "FFFFFFFFFFFFFFFFFF\r\nabc").state(), State::complete);
  EXPECT_EQ(answerOf(head + std::string(5000, '1')).state(), State::complete);
  EXPECT_EQ(answerOf(head + "FFFFFFFFFFFFFFFF\r\nabc").body(), "abc");
}

TEST(HTTPAnswer, isUnaffectedByBytesAfterItsEnd) {
  HTTPAnswer answer = answerOf("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\na");
  EXPECT_EQ(answer.append(viewOf("HTTP/1.1 500\r\n\r\n")), State::complete);
  EXPECT_EQ(answer.status(), 200);
  EXPECT_EQ(answer.body(), "a");
}

}  // namespace
}  // namespace quorl::test
