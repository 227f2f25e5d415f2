// SPDX-License-Identifier: GPL-3.0-or-later
// Hundreds of damaged and deceptive heads, each with its outcome.
#include <gtest/gtest.h>

#include <fmt/format.h>

#include <Core/Relay/RelayFixture.h>

namespace quorl::test {
namespace {

const std::string bad = "400 Bad Request";
const std::string forbidden = "403 Forbidden";
const std::string notFound = "404 Not Found";

class MalformedHeadTest : public testing::Test {
 protected:
  // Of the suite, for `coversHundredsOfHeads`.
  static inline std::size_t cases_ = 0;

  // The status, or the head that the backend gets.
  static std::string outcomeOf(const std::string& head) {
    ++cases_;
    static const RelayTokens tokens({deviceWithToken(standardToken)});
    const auto request =
        RelayHead::decide(viewOf(head), tokens, [] { return std::set<std::uint16_t>{0, 80, 65535}; });
    return request ? request->head : std::string(request.error().status);
  }
  static std::string withLine(const std::string& line) {
    return outcomeOf(line + "\r\nx-quorl-token: " + standardToken + "\r\n\r\n");
  }
  static std::string withTarget(const std::string& target) { return withLine("GET " + target + " HTTP/1.1"); }
  static std::string withHeaders(const std::string& headers) {
    return outcomeOf("GET /p/80/ HTTP/1.1\r\nx-quorl-token: " + standardToken + "\r\n" + headers + "\r\n");
  }
  static std::string withOnlyHeaders(const std::string& headers) {
    return outcomeOf("GET /p/80/ HTTP/1.1\r\n" + headers + "\r\n");
  }
  static std::string passedHead(const std::string& headers, const std::string& tail = "/",
                                const std::string& port = "80") {
    return "GET " + tail + " HTTP/1.1\r\nHost: 127.0.0.1:" + port + "\r\n" + headers + "\r\n";
  }
};

TEST_F(MalformedHeadTest, aRequestLineWithFewerThanThreeWordsIsBad) {
  using namespace std::string_literals;
  for (const std::string& line : {""s,
                                  " "s,
                                  "  "s,
                                  "\t"s,
                                  "GET"s,
                                  "GET "s,
                                  " GET"s,
                                  "GET /p/80/"s,
                                  "GET /p/80/ "s,
                                  " GET /p/80/"s,
                                  "GET\t/p/80/\tHTTP/1.1"s,
                                  "GET\u00A0/p/80/\u00A0HTTP/1.1"s,
                                  "GET/p/80/HTTP/1.1"s,
                                  "GET  /p/80/"s,
                                  "GET /p/80/HTTP/1.1"s,
                                  "GET /p/80/\tHTTP/1.1"s,
                                  "GET\0/p/80/\0HTTP/1.1"s,
                                  "GET\n/p/80/\nHTTP/1.1"s,
                                  "GET\r/p/80/\rHTTP/1.1"s,
                                  "GET\v/p/80/ HTTP/1.1"s,
                                  "GET\f/p/80/\fHTTP/1.1"s,
                                  "\0"s,
                                  "\r"s,
                                  "\n"s,
                                  "\r \n"s,
                                  "HTTP/1.1 200"s,
                                  ": :"s,
                                  "a b"s,
                                  std::string(60'000, 'a'),
                                  std::string(60'000, ' ')})
    EXPECT_EQ(withLine(line), bad) << testing::PrintToString(line);
}

TEST_F(MalformedHeadTest, anEmptyFirstLineIsBad) {
  for (const std::string head : {"\r\n\r\n", "\r\n\r\nGET /p/80/ HTTP/1.1\r\n\r\n"})
    EXPECT_EQ(outcomeOf(head), bad);
  EXPECT_EQ(withLine("\r\nGET /p/80/ HTTP/1.1"), bad);
}

TEST_F(MalformedHeadTest, theWordsOfARequestLineAreNotJudged) {
  for (const std::string method : {"get", "G\0T", "\x01", "CONNECT", "PRI", "GE:T", "{", "\"", "\n", "\r"})
    EXPECT_EQ(withLine(method + " /p/80/ HTTP/1.1"), method + " / HTTP/1.1\r\nHost: 127.0.0.1:80\r\n\r\n");
  for (const std::string version : {"HTTP/0.9", "HTTP/9.9", "http/1.1", "x", "HTTP/1.1\n", "1"})
    EXPECT_EQ(withLine("GET /p/80/ " + version), "GET / " + version + "\r\nHost: 127.0.0.1:80\r\n\r\n");
}

TEST_F(MalformedHeadTest, aTargetWithoutAPortIsNotFound) {
  for (const std::string target : {"/",
                                   "//",
                                   "*",
                                   "/p",
                                   "/p/",
                                   "/p//",
                                   "/p//80/",
                                   "p/80/",
                                   "//p/80/",
                                   "/P/80/",
                                   "/p80/",
                                   "/x/p/80/",
                                   "/./p/80/",
                                   "/../p/80/",
                                   "/p/./80/",
                                   "/%70/80/",
                                   "/p%2F80/",
                                   "/p/%38%30/",
                                   "\\p\\80\\",
                                   "/p\\80/",
                                   "/p/?80",
                                   "/p?/80/",
                                   "?/p/80/",
                                   "#/p/80/",
                                   "/p/#80",
                                   "/p/x80/",
                                   "/p/-80/",
                                   "/p/+80/",
                                   "/p/.80/",
                                   "/p/ 80/",
                                   "/p/\t80/",
                                   "/p/\"80\"/",
                                   "/p/(80)/",
                                   "/p/:80/",
                                   "/p/[80]/",
                                   "/p/\n80/",
                                   "/p/\r80/",
                                   "http://127.0.0.1/p/80/",
                                   "127.0.0.1:80",
                                   "https://evil/",
                                   "/p/localhost/",
                                   "/p/localhost:80/"})
    EXPECT_EQ(withTarget(target), notFound) << testing::PrintToString(target);
}

TEST_F(MalformedHeadTest, aPortAboveTheLargestIsNotFound) {
  for (const std::string port : {"65536", "65600", "99999", "100000", "4294967376", "18446744073709551696",
                                 "340282366920938463463374607431768211536", "0000065536"})
    EXPECT_EQ(withTarget("/p/" + port + "/"), notFound) << port;
  EXPECT_EQ(withTarget("/p/" + std::string(50'000, '9') + "/"), notFound);
  EXPECT_EQ(withTarget("/p/65535/"), passedHead("", "/", "65535"));
  EXPECT_EQ(withTarget("/p/" + std::string(1000, '0') + "80/"), passedHead(""));
}

TEST_F(MalformedHeadTest, aPortThatIsNotInTheListIsForbidden) {
  for (const std::string port : {"1", "22", "79", "81", "443", "8080", "47900", "47901", "65534"})
    EXPECT_EQ(withTarget("/p/" + port + "/"), forbidden) << port;
}

TEST_F(MalformedHeadTest, onlyASlashOrAQuestionMarkMayFollowThePort) {
  for (int byte = 0; byte < 256; ++byte) {
    const char letter = static_cast<char>(byte);
    if (letter == ' ') continue;  // ends the target
    std::string expected = notFound;
    if (letter == '/' || letter == '?') expected = passedHead("", letter == '/' ? "/x" : "/?x");
    if (letter >= '0' && letter <= '9') expected = forbidden;  // ports 800 to 809, of which none is allowed
    EXPECT_EQ(withTarget(std::string("/p/80") + letter + (letter >= '0' && letter <= '9' ? "/" : "x")),
              expected)
        << byte;
  }
}

TEST_F(MalformedHeadTest, aNumberThatIsNoDecimalDigitSpoilsThePortBeforeTheListIsRead) {
  for (const char* number : {"\xB2", "\xB3", "\xB9", "\xBC", "\xBD", "\xBE"}) {
    EXPECT_EQ(withTarget(fmt::format("/p/22{}/", number)), notFound);
    EXPECT_EQ(withTarget(fmt::format("/p/{}22/", number)), notFound);
  }
}

TEST_F(MalformedHeadTest, thePathIsPassedAsItIs) {
  for (const std::string tail :
       {"/..", "/../..", "/%2e%2e/", "//", "///x", "/\\", "/%00", "/%", "/%zz", "/#x", "/?#", "/a?b?c",
        "/a\"b", "/<>", "/;x", "/:80", "/@evil", "/x\ny", "/x\ry"})
    EXPECT_EQ(withTarget("/p/80" + tail), passedHead("", tail)) << tail;
}

TEST_F(MalformedHeadTest, everyByteOfAHeaderPassesAsUTF8) {
  for (int byte = 0; byte < 256; ++byte) {
    const char letter = static_cast<char>(byte);
    std::string expected(1, letter);
    if (byte >= 0x80)
      expected = {static_cast<char>(0xC0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3F))};
    EXPECT_EQ(withHeaders(std::string("A: x") + letter + "y\r\n"), passedHead("A: x" + expected + "y\r\n"))
        << byte;
  }
}

TEST_F(MalformedHeadTest, oddHeaderLinesPassByteForByte) {
  using namespace std::string_literals;
  for (const std::string& line : {":"s,
                                  ": x"s,
                                  "A"s,
                                  "A:"s,
                                  "A :x"s,
                                  " A: x"s,
                                  "\tfolded"s,
                                  " folded: again"s,
                                  "A: x\n B: y"s,
                                  "A:\0"s,
                                  "\0:\0"s,
                                  "A: x\ry"s,
                                  "Content-Length: 5, 6"s,
                                  "Content-Length: -1"s,
                                  "Content-Length: 0x10"s,
                                  "Content-Length: "s,
                                  "Content-Length : 3"s,
                                  "Transfer-Encoding: chunked"s,
                                  "Transfer-Encoding : chunked"s,
                                  "Transfer-Encoding: xchunked"s,
                                  "Transfer-Encoding:\tchunked"s,
                                  " Transfer-Encoding: chunked"s,
                                  "Transfer-Encoding: chunked, identity"s,
                                  "X: x\nHost: evil"s,
                                  "Hostx: y"s,
                                  "X-Host: y"s,
                                  "Host : evil"s,
                                  " Host: evil"s,
                                  "Cookies: a"s,
                                  "X-Cookie: a"s,
                                  "x-quorl-tokens: a"s,
                                  "\"Host\": a"s,
                                  "Expect: 100-continue"s,
                                  "Upgrade: h2c"s,
                                  "Connection: close, x"s,
                                  "Range: bytes=0-"s,
                                  "Trailer: Host"s,
                                  "X-Forwarded-For: 1"s,
                                  "\x7F: \x7F"s,
                                  "A: \r"s})
    EXPECT_EQ(withHeaders(line + "\r\n"), passedHead(line + "\r\n")) << testing::PrintToString(line);
}

TEST_F(MalformedHeadTest, contradictoryLengthsAreTheBackendsToJudge) {
  const std::string both = "Content-Length: 5\r\nTransfer-Encoding: chunked\r\nContent-Length: 6\r\n";
  EXPECT_EQ(withHeaders(both), passedHead(both));
}

TEST_F(MalformedHeadTest, everySpellingOfTheHeadersOfTheRelayIsRemoved) {
  for (const std::string name :
       {"Host", "host", "HOST", "hOsT", "X-Quorl-Token", "x-quorl-token", "X-QUORL-TOKEN"})
    for (const std::string value : {"", " ", " x", "\tx", ":", " a:b", "\xFF"})
      EXPECT_EQ(withHeaders(name + ":" + value + "\r\n" + name + ":again\r\n"), passedHead("")) << name;
}

TEST_F(MalformedHeadTest, aTokenHeaderCountsWithBlanksAroundItsNameAndValue) {
  for (const std::string line :
       {"x-quorl-token:{}", "X-QUORL-TOKEN: {}", "x-quorl-token:\t{}\t", "x-quorl-token:\xA0{} \t\xA0"})
    EXPECT_EQ(withOnlyHeaders(fmt::format(fmt::runtime(line), standardToken) + "\r\n"), passedHead(""))
        << line;
  // Removed are lines that begin with the name, so that these reach the backend.
  for (const std::string line : {"x-quorl-token :{}", " x-quorl-token: {}"}) {
    const std::string text = fmt::format(fmt::runtime(line), standardToken) + "\r\n";
    EXPECT_EQ(withOnlyHeaders(text), passedHead(text));
  }
}

TEST_F(MalformedHeadTest, aDamagedTokenHeaderIsForbidden) {
  using namespace std::string_literals;
  for (const std::string& line : {"x-quorl-token"s,
                                  "x-quorl-token "s + standardToken,
                                  "x-quorl-token="s + standardToken,
                                  "x-quorl-token:"s,
                                  "x-quorl-token: "s + standardToken + "x",
                                  "x-quorl-token: x"s + standardToken,
                                  "x-quorl-token: "s + standardToken + "\0"s,
                                  "x-quorl-token: \n"s + standardToken,
                                  "x-quorl-token: "s + standardToken + "\r",
                                  "x-quorl-token:\v"s + standardToken,
                                  "x-quorl-token: "s + escapedToken,
                                  "x-quorl-token: \""s + standardToken + "\"",
                                  "x-quorl-token: Bearer "s + standardToken,
                                  "x-quorl-token: "s + standardToken + "," + standardToken,
                                  "x-quorl-token: "s + standardToken.substr(1),
                                  "x-quorl-token\0: "s + standardToken,
                                  "y: z\nx-quorl-token: "s + standardToken,
                                  "x-quorl-tokén: "s + standardToken,
                                  "xquorltoken: "s + standardToken,
                                  "Authorization: "s + standardToken,
                                  "\"x-quorl-token\": "s + standardToken})
    EXPECT_EQ(withOnlyHeaders(line + "\r\n"), forbidden) << testing::PrintToString(line);
}

TEST_F(MalformedHeadTest, aCookieCountsWithBlanksAroundIt) {
  for (const std::string line :
       {"Cookie: quorl_token={}", "COOKIE:quorl_token={}", "cookie: a=1;quorl_token={};b=2",
        "cookie:;;\t quorl_token={} ;", "cookie: quorl_token=wrong; quorl_token={}",
        "cookie : quorl_token={}", " cookie:quorl_token={}"})
    for (const std::string& token : {standardToken, urlToken, escapedToken})
      EXPECT_TRUE(withOnlyHeaders(fmt::format(fmt::runtime(line), token) + "\r\n").starts_with("GET / "))
          << line;
}

TEST_F(MalformedHeadTest, aDamagedCookieIsForbidden) {
  using namespace std::string_literals;
  for (const std::string& value : {""s,
                                   ";"s,
                                   "quorl_token"s,
                                   "quorl_token="s,
                                   "quorl_token ="s + urlToken,
                                   "quorl_token= "s + urlToken,
                                   "Quorl_token="s + urlToken,
                                   "QUORL_TOKEN="s + urlToken,
                                   "xquorl_token="s + urlToken,
                                   "quorl_tokens="s + urlToken,
                                   "quorl_token=\""s + urlToken + "\"",
                                   "quorl_token="s + urlToken + "%",
                                   "quorl_token="s + urlToken + "%2",
                                   "quorl_token=%zz"s + urlToken,
                                   "quorl_token=%FF"s + urlToken,
                                   "quorl_token=%C3"s,
                                   "quorl_token=%ED%A0%80"s,
                                   "quorl_token="s + urlToken + "%00",
                                   "quorl_token="s + urlToken + "\0"s,
                                   "quorl_token="s + urlToken + ",a=1",
                                   "a=1,quorl_token="s + urlToken,
                                   "a=quorl_token="s + urlToken,
                                   "$Version=1&quorl_token="s + urlToken,
                                   "quorl%5Ftoken="s + urlToken,
                                   "quorl_token=%2561"s})
    EXPECT_EQ(withOnlyHeaders("Cookie: " + value + "\r\n"), forbidden) << testing::PrintToString(value);
}

TEST_F(MalformedHeadTest, aDamagedQueryTokenIsForbidden) {
  for (const std::string query : {"",
                                  "quorl_token",
                                  "quorl_token=",
                                  "Quorl_token={}",
                                  "xquorl_token={}",
                                  "quorl_token={}x",
                                  "quorl_token=x{}",
                                  "quorl_token={}%",
                                  "quorl_token={}%00",
                                  "quorl_token={}#",
                                  "quorl_token={};a=1",
                                  "a=1;quorl_token={}",
                                  "quorl%5Ftoken={}",
                                  "a=quorl_token={}",
                                  "quorl_token=={}",
                                  "quorl_token=\"{}\"",
                                  "quorl_token=%20{}",
                                  "?quorl_token={}",
                                  "amp;quorl_token={}",
                                  "quorl_token[]={}",
                                  "#quorl_token={}"})
    EXPECT_EQ(outcomeOf("GET /p/80/?" + fmt::format(fmt::runtime(query), urlToken) + " HTTP/1.1\r\n\r\n"),
              forbidden)
        << query;
}

TEST_F(MalformedHeadTest, coversHundredsOfHeads) {
  EXPECT_GE(cases_, 300U);
}

using MalformedStreamTest = RelayFixture;

TEST_F(MalformedStreamTest, aHeadWithoutItsTerminatorIsNeverAnswered) {
  using namespace std::string_literals;
  const std::string head = authorized("GET /p/8080/");
  std::vector<std::string> unfinished{"\n\n"s,      "\r\r"s,      "GET /p/8080/ HTTP/1.1\n\n"s,
                                      "\r\n\n"s,    "\r\n\r"s,    "\0"s,
                                      "\n\r\n\r"s,  "\r\n \r\n"s, "\r\n\t\r\n"s,
                                      "\r\n\0\r\n"s};
  for (std::size_t size = 0; size < head.size(); ++size) unfinished.push_back(head.substr(0, size));
  for (const std::string& text : unfinished) {
    const auto client = connectAndSend(text);
    EXPECT_FALSE(client->isClosedByHost());
    client->finish();
    EXPECT_EQ(received(*client), "") << testing::PrintToString(text);
    EXPECT_TRUE(client->isClosedByHost());
  }
  EXPECT_TRUE(platform_.network->opened.empty());
}

TEST_F(MalformedStreamTest, anEndlessHeadIsRefusedAtTheLimit) {
  for (const std::string& piece :
       {std::string("a"), std::string("\r\n"), std::string("A: b\r\n"), std::string("\0", 1)}) {
    std::string endless = "GET /p/8080/ HTTP/1.1";
    while (endless.size() <= RelayConnection::headLimit) endless += piece == "\r\n" ? "\r\nx" : piece;
    const auto client = connectAndSend(endless);
    EXPECT_EQ(received(*client), rejection("431 Request Header Fields Too Large"));
  }
}

}  // namespace
}  // namespace quorl::test
