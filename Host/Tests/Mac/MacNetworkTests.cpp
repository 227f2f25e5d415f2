// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostMac/Network/MacInterfaceKind.h>
#include <QuorlHostMac/Network/MacOverlayPlaces.h>

namespace quorl::test {
namespace {

TEST(MacInterfaceKind, isLANForAdaptersOnly) {
  EXPECT_EQ(macInterfaceKind("en0"), InterfaceAddress::Kind::lan);
  EXPECT_EQ(macInterfaceKind("en12"), InterfaceAddress::Kind::lan);
  for (const char* name : {"lo0", "utun3", "bridge0", "awdl0", "ap1", "feth123", "e"})
    EXPECT_EQ(macInterfaceKind(name), InterfaceAddress::Kind::other) << name;
}

TEST(MacOverlayPlaces, preferTheApplication) {
  const OverlayPlaces places = macOverlayPlaces();
  ASSERT_EQ(places.tailscaleTools.size(), 3U);
  ASSERT_EQ(places.tailscaleInstallations.size(), 1U);
  EXPECT_TRUE(places.tailscaleTools[0].starts_with(places.tailscaleInstallations[0] + "/"));
}

}  // namespace
}  // namespace quorl::test
