// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <Core/Relay/RelayFixture.h>

namespace quorl::test {
namespace {

const RelayTokens oneToken({deviceWithToken(standardToken)});

std::expected<RelayRequest, RelayRejection> decide(const std::string& head,
                                                   const RelayTokens& tokens = oneToken) {
  return RelayHead::decide(viewOf(head), tokens, [] { return std::set<std::uint16_t>{0, 80, 8080}; });
}

std::string statusOf(const std::string& head, const RelayTokens& tokens = oneToken) {
  const auto request = decide(head, tokens);
  return std::string(request ? "passes" : request.error().status);
}

std::string withToken(const std::string& line, const std::string& headers = "") {
  return line + "\r\nx-quorl-token: " + standardToken + "\r\n" + headers + "\r\n";
}

RelayRequest passed(const std::string& head) {
  auto request = decide(head);
  EXPECT_TRUE(request) << head;
  return request ? *request : RelayRequest{};
}

TEST(RelayHead, removesTheTokenFromTheQueryAndSetsItAsACookie) {
  const auto request = passed("GET /p/8080?quorl_token=" + urlToken + " HTTP/1.1\r\n\r\n");
  EXPECT_EQ(request.head, "GET / HTTP/1.1\r\nHost: 127.0.0.1:8080\r\n\r\n");
  EXPECT_EQ(request.cookie,
            "Set-Cookie: quorl_token=ab%2D%5Fcd%2D%5Fefghijklmnopqrstuvwxyz0123456789ABC; "
            "Path=/; HttpOnly");
}

TEST(RelayHead, keepsTheOtherQueryItemsInOrder) {
  const auto request = passed("GET /p/8080?a=1&quorl_token=" + urlToken + "&b=2 HTTP/1.1\r\n\r\n");
  EXPECT_EQ(request.tail, "/?a=1&b=2");
  EXPECT_EQ(request.head, "GET /?a=1&b=2 HTTP/1.1\r\nHost: 127.0.0.1:8080\r\n\r\n");
}

TEST(RelayHead, dropsEmptyQueryItemsAndAnEmptyQuery) {
  EXPECT_EQ(passed(withToken("GET /p/80/x?&&a&&b=& HTTP/1.1")).tail, "/x?a&b=");
  EXPECT_EQ(passed(withToken("GET /p/80/x?&& HTTP/1.1")).tail, "/x");
  EXPECT_EQ(passed(withToken("GET /p/80/x? HTTP/1.1")).tail, "/x");
  EXPECT_EQ(passed(withToken("GET /p/80/x?a?b=? HTTP/1.1")).tail, "/x?a?b=?");
}

TEST(RelayHead, acceptsAStandardTokenInTheQueryOnlyPercentEncoded) {
  const auto request = passed("GET /p/80/?quorl_token=" + escapedToken + " HTTP/1.1\r\n\r\n");
  EXPECT_EQ(request.cookie, "Set-Cookie: quorl_token=" + escapedToken + "; Path=/; HttpOnly");
  // A plus sign is itself, not a blank; so is a slash. The raw text is the token here.
  EXPECT_EQ(statusOf("GET /p/80/?quorl_token=" + standardToken + " HTTP/1.1\r\n\r\n"), "passes");
  std::string blanks = standardToken;
  std::ranges::replace(blanks, '+', ' ');
  EXPECT_EQ(statusOf("GET /p/80/?quorl_token=" + blanks + " HTTP/1.1\r\n\r\n"), "403 Forbidden");
}

TEST(RelayHead, removesAnInvalidQueryTokenFromARequestWithAHeaderAndSetsNoCookie) {
  const auto request = passed(withToken("GET /p/80/?quorl_token=wrong&a=1 HTTP/1.1"));
  EXPECT_EQ(request.tail, "/?a=1");
  EXPECT_FALSE(request.cookie);
}

TEST(RelayHead, remembersTheLastValidQueryToken) {
  const RelayTokens two({deviceWithToken("first"), deviceWithToken("second")});
  const auto request =
      decide("GET /p/80/?quorl_token=first&quorl_token=second&quorl_token=third HTTP/1.1\r\n\r\n", two);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->cookie, "Set-Cookie: quorl_token=second; Path=/; HttpOnly");
  EXPECT_EQ(request->tail, "/");
}

TEST(RelayHead, usesAQueryTokenAsItIsIfItCannotBeDecoded) {
  const RelayTokens odd({deviceWithToken("50%")});
  EXPECT_EQ(statusOf("GET /p/80/?quorl_token=50% HTTP/1.1\r\n\r\n", odd), "passes");
  EXPECT_EQ(statusOf("GET /p/80/ HTTP/1.1\r\nCookie: quorl_token=50%\r\n\r\n", odd), "403 Forbidden");
}

TEST(RelayHead, aCookieKeepsTheLettersOfOtherAlphabets) {
  const RelayTokens odd({deviceWithToken("é٣ ☃")});
  const auto request = decide("GET /p/80/?quorl_token=%C3%A9%D9%A3%20%E2%98%83 HTTP/1.1\r\n\r\n", odd);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->cookie, "Set-Cookie: quorl_token=é٣%20%E2%98%83; Path=/; HttpOnly");
}

TEST(RelayHead, setsNoCookieForAClientWithAHeaderOrACookie) {
  EXPECT_FALSE(passed(withToken("GET /p/80/ HTTP/1.1")).cookie);
  EXPECT_FALSE(passed("GET /p/80/ HTTP/1.1\r\nCookie: quorl_token=" + escapedToken + "\r\n\r\n").cookie);
}

TEST(RelayHead, removesACookieHeaderThatHasOnlyTheToken) {
  EXPECT_EQ(passed("GET /p/80/ HTTP/1.1\r\nCookie: quorl_token=" + escapedToken + "\r\nA: b\r\n\r\n").head,
            "GET / HTTP/1.1\r\nHost: 127.0.0.1:80\r\nA: b\r\n\r\n");
}

TEST(RelayHead, rebuildsACookieHeaderWithOtherCookies) {
  EXPECT_EQ(passed("GET /p/80/ HTTP/1.1\r\ncOOKIE:a=1 ;; quorl_token=" + urlToken + ";\tb=2;\r\n\r\n").head,
            "GET / HTTP/1.1\r\nHost: 127.0.0.1:80\r\nCookie: a=1; b=2\r\n\r\n");
}

TEST(RelayHead, stripsACookieOfAnotherCaseButDoesNotAcceptIt) {
  const std::string line = "Cookie: Quorl_Token=" + urlToken;
  EXPECT_EQ(statusOf("GET /p/80/ HTTP/1.1\r\n" + line + "\r\n\r\n"), "403 Forbidden");
  EXPECT_EQ(passed(withToken("GET /p/80/ HTTP/1.1", line + "\r\n")).head,
            "GET / HTTP/1.1\r\nHost: 127.0.0.1:80\r\n\r\n");
  EXPECT_EQ(RelayHead::strippingQuorlToken("Cookie"), "Cookie");
  EXPECT_EQ(RelayHead::strippingQuorlToken("cookie: ;; "), std::nullopt);
}

TEST(RelayHead, passesALineWithoutAColon) {
  EXPECT_EQ(passed(withToken("GET /p/80/ HTTP/1.1", "no colon here\r\nCookie\r\nHost\r\n")).head,
            "GET / HTTP/1.1\r\nHost: 127.0.0.1:80\r\nno colon here\r\nCookie\r\nHost\r\n\r\n");
}

TEST(RelayHead, replacesEveryHostAndTokenHeaderAndKeepsTheRestByteForByte) {
  EXPECT_EQ(passed(withToken("PUT /p/8080/a/b HTTP/1.0",
                             "HOST: evil\r\nhost:\r\nX-QUORL-TOKEN:again\r\n  Folded: x \r\nConnection: "
                             "Upgrade\r\nOrigin: null\r\nContent-Length: 3\r\n"))
                .head,
            "PUT /a/b HTTP/1.0\r\nHost: 127.0.0.1:8080\r\n  Folded: x \r\nConnection: Upgrade\r\nOrigin: "
            "null\r\nContent-Length: 3\r\n\r\n");
}

TEST(RelayHead, sendsLatinLettersAsUTF8) {
  EXPECT_EQ(passed(withToken("GET /p/80/\xE9 HTTP/1.1", "A: \xFF\r\n")).head,
            "GET /\u00E9 HTTP/1.1\r\nHost: 127.0.0.1:80\r\nA: \u00FF\r\n\r\n");
}

TEST(RelayHead, ignoresWordsAfterTheVersionAndRepeatedBlanks) {
  EXPECT_EQ(passed(withToken("  GET   /p/80/x  HTTP/1.1  more words ")).head,
            "GET /x HTTP/1.1\r\nHost: 127.0.0.1:80\r\n\r\n");
}

TEST(RelayHead, rejectsEverythingWithoutATrustedDevice) {
  const RelayTokens none;
  EXPECT_EQ(statusOf(withToken("GET /p/80/ HTTP/1.1"), none), "403 Forbidden");
  EXPECT_EQ(statusOf(withToken("GET /nowhere HTTP/1.1"), none), "403 Forbidden");
  EXPECT_EQ(statusOf("GET\r\n\r\n", none), "400 Bad Request");
}

TEST(RelayHead, anEmptyTokenAuthorizesNobody) {
  const RelayTokens empty({deviceWithToken(""), deviceWithToken("===")});
  EXPECT_EQ(statusOf("GET /p/80/ HTTP/1.1\r\nx-quorl-token:\r\n\r\n", empty), "403 Forbidden");
  EXPECT_EQ(statusOf("GET /p/80/?quorl_token= HTTP/1.1\r\n\r\n", empty), "403 Forbidden");
}

TEST(RelayHead, checksTheTokenBeforeAnythingAboutPorts) {
  EXPECT_EQ(statusOf("GET /nowhere HTTP/1.1\r\n\r\n"), "403 Forbidden");
  EXPECT_EQ(statusOf("GET /p/99999/ HTTP/1.1\r\n\r\n"), "403 Forbidden");
  EXPECT_EQ(statusOf(withToken("GET /nowhere HTTP/1.1")), "404 Not Found");
}

TEST(RelayHead, readsTheAllowedPortsOnlyForARequestWithAPort) {
  int reads = 0;
  const AllowedPorts ports = [&] {
    ++reads;
    return std::set<std::uint16_t>{80};
  };
  const auto ask = [&](const std::string& head) { return RelayHead::decide(viewOf(head), oneToken, ports); };
  EXPECT_FALSE(ask("GET /p/80/ HTTP/1.1\r\n\r\n"));
  EXPECT_FALSE(ask(withToken("GET /p/x/ HTTP/1.1")));
  EXPECT_EQ(reads, 0);
  EXPECT_TRUE(ask(withToken("GET /p/80/ HTTP/1.1")));
  EXPECT_EQ(reads, 1);
}

TEST(RelayHead, portZeroIsForTheListToDecide) {
  EXPECT_EQ(passed(withToken("GET /p/0/ HTTP/1.1")).port, 0);
  EXPECT_EQ(passed(withToken("GET /p/000080 HTTP/1.1")).port, 80);
}

TEST(RelayHead, reportsThePortThatIsNotInTheList) {
  const auto request = decide(withToken("GET /p/8081/ HTTP/1.1"));
  ASSERT_FALSE(request);
  EXPECT_EQ(request.error(), (RelayRejection{"403 Forbidden", 8081}));
}

TEST(RelayTokens, holdTheStandardAndTheURLForm) {
  EXPECT_TRUE(oneToken.contains(standardToken));
  EXPECT_TRUE(oneToken.contains(urlToken));
  EXPECT_FALSE(oneToken.contains(standardToken.substr(1)));
  EXPECT_FALSE(oneToken.contains(""));
  EXPECT_TRUE(RelayTokens().isEmpty());
}

}  // namespace
}  // namespace quorl::test
