// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <HostOptions.h>
#include <PairingNotice.h>

namespace quorl::test {
namespace {

HostOptions parsed(std::vector<std::string> arguments) {
  return parseHostOptions(arguments);
}

TEST(PairingNotice, hasThePINTheAddressesAndTheCommand) {
  NetworkStatus status;
  status.lanAddresses = {"192.168.1.23", "10.0.0.2"};
  EXPECT_EQ(pairingNotice("314159", status, 47900),
            "quorl-host: there is no desktop for a window, so this terminal shows how to pair\n"
            "  PIN       314159\n"
            "  address   192.168.1.23, 10.0.0.2\n"
            "  pair      quorl_client pair 192.168.1.23\n");
}

TEST(PairingNotice, prefersTheOverlayAndNamesAnotherPort) {
  NetworkStatus status;
  status.overlayAddresses = {"fd7a:115c::4"};
  status.lanAddresses = {"192.168.1.23"};
  const std::string notice = pairingNotice("314159", status, 47901);
  EXPECT_NE(notice.find("address   fd7a:115c::4, 192.168.1.23\n"), std::string::npos) << notice;
  EXPECT_NE(notice.find("quorl_client pair [fd7a:115c::4]:47901\n"), std::string::npos) << notice;
  EXPECT_NE(pairingNotice("1", {}, 47900).find("pair 127.0.0.1\n"), std::string::npos);
}

TEST(HostOptions, areReadInEitherOrder) {
  const HostOptions both{true, "123456"};
  EXPECT_EQ(parsed({"--verbose", "--pin", "123456"}), both);
  EXPECT_EQ(parsed({"--pin", "123456", "--verbose"}), both);
  EXPECT_EQ(parsed({}), HostOptions());
}

TEST(HostOptions, leaveThePINRandomWhenItsOptionIsTheLastArgument) {
  EXPECT_EQ(parsed({"--verbose", "--pin"}).pin, std::nullopt);
}

TEST(HostOptions, takeTheFirstOfTwoPINs) {
  EXPECT_EQ(parsed({"--pin", "111111", "--pin", "222222"}).pin, "111111");
}

TEST(HostOptions, takeAPINUnchanged) {
  EXPECT_EQ(parsed({"--pin", ""}).pin, "");
  EXPECT_EQ(parsed({"--pin", "geheim ü"}).pin, "geheim ü");
  EXPECT_EQ(parsed({"--pin", "--verbose"}), (HostOptions{true, "--verbose"}));
  EXPECT_EQ(parsed({"--pin", "--pin"}).pin, "--pin");
}

TEST(HostOptions, ignoreUnknownArguments) {
  EXPECT_EQ(parsed({"-v", "--pin=1", "--help", "verbose"}), HostOptions());
}

TEST(PINAnnouncement, showsAFixedPINAndNeverARandomOne) {
  EXPECT_EQ(pinAnnouncement({false, "424242"}), "pairing PIN: 424242");
  EXPECT_EQ(pinAnnouncement({}), "pairing PIN: random — see the menu bar");
}

TEST(TestPort, isTakenOnlyWhenItIsAPortNumber) {
  EXPECT_EQ(parseTestPort("47999"), 47999);
  EXPECT_EQ(parseTestPort(std::nullopt), std::nullopt);
  for (const char* wrong : {"", "0", "65536", "-1", "80x", " 80", "port"})
    EXPECT_EQ(parseTestPort(wrong), std::nullopt);
}

TEST(TestPorts, areSeparatedByCommas) {
  using Ports = std::set<std::uint16_t>;
  EXPECT_EQ(parseTestPorts(std::nullopt), std::nullopt);
  EXPECT_EQ(parseTestPorts(""), Ports());
  EXPECT_EQ(parseTestPorts("3000"), Ports({3000}));
  EXPECT_EQ(parseTestPorts("3000,x,,4000,65536"), Ports({3000, 4000}));
}

}  // namespace
}  // namespace quorl::test
