// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Network/TailscaleStatus.h>
#include <QuorlHostCore/Network/ZeroTierStatus.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::optional<TailscaleStatus> tailscale(std::string_view json) {
  return TailscaleStatus::parse(viewOf(json));
}
std::optional<bool> zeroTierOnline(std::string_view json) {
  return ZeroTierStatus::isOnline(viewOf(json));
}
std::vector<std::string> zeroTierAddresses(std::string_view json) {
  return ZeroTierStatus::addresses(viewOf(json));
}

TEST(TailscaleStatus, hasTheNamesAndAddressesOfThisMachine) {
  const auto status = tailscale(R"({"Version":"1.60","BackendState":"Running","Self":{"ID":"n1",
      "HostName":"desk","DNSName":"desk.tail1.ts.net.","TailscaleIPs":["100.101.1.2","fd7a::1"],"Online":true},
      "Peer":{"k":{"DNSName":"other.ts.net.","TailscaleIPs":["100.1.1.1"]}}})");
  ASSERT_TRUE(status);
  EXPECT_TRUE(status->isOnline());
  EXPECT_EQ(status->dnsName, "desk.tail1.ts.net");
  EXPECT_EQ(status->shortName(), "desk");
  EXPECT_THAT(status->addresses, ElementsAre("100.101.1.2", "fd7a::1"));
}

TEST(TailscaleStatus, losesOneTrailingDotOfTheName) {
  const auto nameFor = [](const std::string& name) {
    return tailscale(R"({"Self":{"DNSName":")" + name + R"("}})")->dnsName;
  };
  EXPECT_EQ(nameFor("desk.ts.net."), "desk.ts.net");
  EXPECT_EQ(nameFor("desk.ts.net.."), "desk.ts.net.");
  EXPECT_EQ(nameFor("desk"), "desk");
  EXPECT_EQ(nameFor(""), std::nullopt);
  EXPECT_EQ(nameFor("."), std::nullopt);
}

TEST(TailscaleStatus, hasTheMachinesNameWithoutANameInTheNetwork) {
  EXPECT_EQ(tailscale(R"({"Self":{"DNSName":"","HostName":"desk"}})")->shortName(), "desk");
  EXPECT_EQ(tailscale(R"({"Self":{"DNSName":7,"HostName":"desk"}})")->shortName(), "desk");
  EXPECT_EQ(tailscale(R"({"Self":{}})")->shortName(), std::nullopt);
  EXPECT_EQ(tailscale(R"({})")->shortName(), std::nullopt);
}

TEST(TailscaleStatus, putsIPv4AddressesFirstAndKeepsTheOrderOtherwise) {
  EXPECT_THAT(
      tailscale(R"({"Self":{"TailscaleIPs":["fd7a::2","100.1.1.2","1001::1","fd7a::1","100.1.1.1"]}})")
          ->addresses,
      ElementsAre("100.1.1.2", "100.1.1.1", "fd7a::2", "1001::1", "fd7a::1"));
}

TEST(TailscaleStatus, isNotOnlineInAnyStateButRunning) {
  for (const char* state : {R"("NeedsLogin")", R"("Stopped")", R"("Starting")", R"("NoState")",
                            R"("running")", "true", "null", "{}"})
    EXPECT_FALSE(tailscale(std::string(R"({"BackendState":)") + state + "}")->isOnline()) << state;
  EXPECT_EQ(tailscale("{}")->backendState, "NoState");
}

TEST(TailscaleStatus, countsWhatHasAnotherTypeAsAbsent) {
  EXPECT_THAT(tailscale(R"({"Self":{"TailscaleIPs":["100.1.1.1",5]}})")->addresses, IsEmpty());
  EXPECT_THAT(tailscale(R"({"Self":{"TailscaleIPs":"100.1.1.1"}})")->addresses, IsEmpty());
  EXPECT_THAT(tailscale(R"({"Self":{"TailscaleIPs":null}})")->addresses, IsEmpty());
  EXPECT_EQ(tailscale(R"({"Self":["DNSName"]})"), TailscaleStatus{});
  EXPECT_EQ(tailscale(R"({"Self":null,"BackendState":5})"), TailscaleStatus{});
}

TEST(TailscaleStatus, isAbsentUnlessTheOutputIsAJSONObject) {
  for (const char* output : {"", " ", "null", "[]", "\"x\"", "failed to connect to local tailscaled", "{",
                             "{}{}", "{\"BackendState\":\"Running\"", "{\"BackendState\":\"Run\xFFning\"}",
                             "\xEF\xBB\xBF{}", "warning\n{}", "{\"Self\":{\"DNSName\":}}"})
    EXPECT_EQ(tailscale(output), std::nullopt) << output;
  EXPECT_TRUE(tailscale(" {} \n"));
  EXPECT_EQ(tailscale(std::string(100'000, '[')), std::nullopt);
}

TEST(ZeroTierStatus, isOnlineIfItSaysSoInEitherWay) {
  EXPECT_EQ(zeroTierOnline(R"({"address":"a1","online":true,"version":"1.12"})"), true);
  EXPECT_EQ(zeroTierOnline(R"({"status":"ONLINE"})"), true);
  EXPECT_EQ(zeroTierOnline(R"({"online":false,"status":"Online"})"), true);
}

TEST(ZeroTierStatus, isOfflineOtherwise) {
  for (const char* info : {"{}", R"({"online":false})", R"({"online":1})", R"({"online":"true"})",
                           R"({"status":"OFFLINE"})", R"({"status":"TUNNELED"})", R"({"status":["ONLINE"]})"})
    EXPECT_EQ(zeroTierOnline(info), false) << info;
}

TEST(ZeroTierStatus, isAbsentUnlessTheOutputIsAJSONObject) {
  for (const char* output : {"", "[]", "200 info a1 1.12 ONLINE", "{\"online\":true",
                             "missing authentication token", "{\"a\":\"\xFF\"}"})
    EXPECT_EQ(zeroTierOnline(output), std::nullopt) << output;
}

TEST(ZeroTierStatus, hasTheAddressesOfAllNetworksWithoutPrefixLengths) {
  EXPECT_THAT(zeroTierAddresses(R"([{"id":"n1","assignedAddresses":["10.147.1.2/24","fd80::1/88"]},
                                   {"id":"n2"},{"assignedAddresses":["10.147.9.9"]}])"),
              ElementsAre("10.147.1.2", "fd80::1", "10.147.9.9"));
}

TEST(ZeroTierStatus, skipsANetworkWhoseAddressesAreNoTexts) {
  EXPECT_THAT(
      zeroTierAddresses(R"([{"assignedAddresses":["10.0.0.1/8",5]},{"assignedAddresses":["10.0.0.2/8"]}])"),
      ElementsAre("10.0.0.2"));
}

TEST(ZeroTierStatus, hasNoAddressesUnlessTheOutputIsAnArrayOfObjects) {
  for (const char* output :
       {"", "{}", R"([{"assignedAddresses":["10.0.0.1/8"]},5])", R"([{"assignedAddresses":["10.0.0.1/8"]})",
        R"({"assignedAddresses":["10.0.0.1/8"]})", R"([{"assignedAddresses":["10.0.0.1/8"]}] x)"})
    EXPECT_THAT(zeroTierAddresses(output), IsEmpty()) << output;
}

}  // namespace
}  // namespace quorl::test
