// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Network/LANAddresses.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Address = std::array<std::uint8_t, 4>;

InterfaceAddress lan(Address address, std::string interface = "en0") {
  return {std::move(interface), address, InterfaceAddress::Kind::lan};
}

TEST(LANAddresses, areThoseOfNetworkAdaptersInTheirOrder) {
  EXPECT_THAT(lanAddresses({lan({192, 168, 1, 5}, "wlan0"),
                            {"docker0", {172, 17, 0, 1}, InterfaceAddress::Kind::other},
                            lan({10, 0, 0, 2}, "eth0")}),
              ElementsAre("192.168.1.5", "10.0.0.2"));
}

TEST(LANAddresses, occurOnce) {
  EXPECT_THAT(lanAddresses({lan({10, 0, 0, 2}, "en0"), lan({10, 0, 0, 2}, "en1")}), ElementsAre("10.0.0.2"));
}

TEST(LANAddresses, leaveOutLoopbackAndLinkLocalAddresses) {
  EXPECT_THAT(lanAddresses({lan({127, 0, 0, 1}), lan({127, 255, 0, 1}), lan({169, 254, 0, 0}),
                            lan({169, 254, 255, 255})}),
              IsEmpty());
  EXPECT_THAT(lanAddresses({lan({126, 255, 255, 255}), lan({128, 0, 0, 1}), lan({169, 253, 0, 1}),
                            lan({169, 255, 0, 1})}),
              testing::SizeIs(4));
}

TEST(LANAddresses, leaveOut100_64_0_0_10OnANetworkAdapter) {
  EXPECT_THAT(lanAddresses({lan({100, 64, 0, 0}), lan({100, 100, 1, 2}), lan({100, 127, 255, 255})}),
              IsEmpty());
  EXPECT_THAT(lanAddresses({lan({100, 63, 255, 255}), lan({100, 128, 0, 0})}),
              ElementsAre("100.63.255.255", "100.128.0.0"));
}

TEST(LANAddresses, areEmptyWithoutInterfaces) {
  EXPECT_THAT(lanAddresses({}), IsEmpty());
}

}  // namespace
}  // namespace quorl::test
