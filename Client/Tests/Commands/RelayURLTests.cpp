// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Commands/RelayURL.h>

#include <gtest/gtest.h>

namespace quorl::client {
namespace {

std::string urlOf(std::string path, std::string host = "desk.local", const Bytes& token = {1, 2, 3}) {
  return relayURL(
      {.host = std::move(host), .relayPort = 47'901, .servicePort = 3000, .path = std::move(path)}, token);
}

TEST(RelayURL, hasTheServiceThePathAndTheToken) {
  EXPECT_EQ(urlOf("/"), "http://desk.local:47901/p/3000/?quorl_token=AQID");
  EXPECT_EQ(urlOf(""), "http://desk.local:47901/p/3000/?quorl_token=AQID");
  EXPECT_EQ(urlOf("admin/users"), "http://desk.local:47901/p/3000/admin/users?quorl_token=AQID");
}

TEST(RelayURL, addsTheTokenToAQueryAndBeforeAFragment) {
  EXPECT_EQ(urlOf("/a?b=c&d=%20"), "http://desk.local:47901/p/3000/a?b=c&d=%20&quorl_token=AQID");
  EXPECT_EQ(urlOf("/a#top?x"), "http://desk.local:47901/p/3000/a?quorl_token=AQID#top?x");
  EXPECT_EQ(urlOf("?b"), "http://desk.local:47901/p/3000/?b&quorl_token=AQID");
}

TEST(RelayURL, encodesWhatDoesNotBelongInAURL) {
  EXPECT_EQ(urlOf("/a b\"<é>|%zz%4"),
            "http://desk.local:47901/p/3000/a%20b%22%3C%C3%A9%3E%7C%25zz%254?quorl_token=AQID");
  EXPECT_EQ(urlOf("/\r\nHost: x"), "http://desk.local:47901/p/3000/%0D%0AHost:%20x?quorl_token=AQID");
}

TEST(RelayURL, writesTheTokenWithoutCharactersOfAQuery) {
  EXPECT_EQ(urlOf("/", "desk", {0xFB, 0xEF, 0xFF, 0xFE}), "http://desk:47901/p/3000/?quorl_token=--___g");
}

TEST(RelayURL, putsIPv6AddressesInBrackets) {
  EXPECT_EQ(urlOf("/", "fd7a::1"), "http://[fd7a::1]:47901/p/3000/?quorl_token=AQID");
  EXPECT_EQ(urlOf("/", "fe80::1%eth0"), "http://[fe80::1%25eth0]:47901/p/3000/?quorl_token=AQID");
  EXPECT_EQ(urlOf("/", "fe80::1%eb0"), "http://[fe80::1%25eb0]:47901/p/3000/?quorl_token=AQID");
}

}  // namespace
}  // namespace quorl::client
