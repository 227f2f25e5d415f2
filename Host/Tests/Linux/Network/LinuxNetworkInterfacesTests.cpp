// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Network/LinuxNetworkInterfaces.h>

#include <algorithm>
#include <atomic>
#include <filesystem>

#include <gtest/gtest.h>

#include <QuorlHostLinux/Network/LinuxOverlayPlaces.h>
#include <Support/Eventually.h>
#include <Support/OwnNetwork.h>

namespace quorl::test {
namespace {

using namespace std::chrono_literals;

TEST(LinuxNetworkInterfaces, haveTheAddressesOfConnectedInterfaces) {
  const bool mayRun = inOwnNetwork([] {
    LinuxNetworkInterfaces interfaces;
    EXPECT_TRUE(interfaces.addresses().empty()) << "the loopback of a new network is down";
    ip("link set lo up");
    ip("link add enp77s0 type veth peer name peer77");
    ip("addr add 10.7.7.1/24 dev enp77s0");
    ip("link set enp77s0 up");
    const std::array<std::uint8_t, 4> address{10, 7, 7, 1};
    const InterfaceAddress adapter{"enp77s0", address, InterfaceAddress::Kind::lan};
    const InterfaceAddress loopback{"lo", {127, 0, 0, 1}, InterfaceAddress::Kind::other};
    EXPECT_EQ(interfaces.addresses(), std::vector{loopback}) << "the adapter's cable is not plugged in";
    ip("link set peer77 up");
    EXPECT_TRUE(eventually([&] { return interfaces.addresses() == std::vector{loopback, adapter}; }, 30s));
    ip("link set enp77s0 down");
    EXPECT_TRUE(eventually([&] { return interfaces.addresses() == std::vector{loopback}; }, 30s));
  });
  if (!mayRun) GTEST_SKIP() << "needs the right to create a network namespace";
}

TEST(LinuxNetworkInterfaces, reportChangesOfInterfacesAndAddresses) {
  const bool mayRun = inOwnNetwork([] {
    LinuxNetworkInterfaces interfaces;
    std::atomic<int> changes = 0;
    ASSERT_TRUE(interfaces.setChangeHandler([&] { ++changes; }));
    EXPECT_EQ(changes, 0);
    ip("link set lo up");
    EXPECT_TRUE(eventually([&] { return changes > 0; }, 30s));
    changes = 0;
    ip("addr add 10.7.7.1/24 dev lo");
    EXPECT_TRUE(eventually([&] { return changes > 0; }, 30s));
    changes = 0;
    ip("addr del 10.7.7.1/24 dev lo");
    EXPECT_TRUE(eventually([&] { return changes > 0; }, 30s));
  });
  if (!mayRun) GTEST_SKIP() << "needs the right to create a network namespace";
}

TEST(LinuxNetworkInterfaces, reportNothingAfterTheHandlerWasRemoved) {
  const bool mayRun = inOwnNetwork([] {
    LinuxNetworkInterfaces interfaces;
    std::atomic<int> former = 0;
    std::atomic<int> changes = 0;
    ASSERT_TRUE(interfaces.setChangeHandler([&] { ++former; }));
    ASSERT_TRUE(interfaces.setChangeHandler([&] { ++changes; }));
    ip("link set lo up");
    EXPECT_TRUE(eventually([&] { return changes > 0; }, 30s));
    EXPECT_EQ(former, 0);
    EXPECT_TRUE(interfaces.setChangeHandler({}));
    const int before = changes;
    ip("addr add 10.7.7.1/24 dev lo");
    EXPECT_EQ(changes, before);
  });
  if (!mayRun) GTEST_SKIP() << "needs the right to create a network namespace";
}

TEST(LinuxOverlayPlaces, areAbsolute) {
  const OverlayPlaces places = linuxOverlayPlaces();
  for (const auto& list : {places.tailscaleTools, places.tailscaleInstallations, places.zeroTierTools}) {
    EXPECT_FALSE(list.empty());
    EXPECT_TRUE(std::ranges::all_of(list, [](const std::string& path) { return path.starts_with('/'); }));
  }
}

}  // namespace
}  // namespace quorl::test
