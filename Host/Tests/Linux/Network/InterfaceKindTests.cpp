// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Network/InterfaceKind.h>

#include <filesystem>

#include <gtest/gtest.h>

#include <Support/TemporaryFolder.h>

namespace quorl::test {
namespace {

bool isLAN(const InterfaceFacts& facts) {
  return interfaceKind(facts) == InterfaceAddress::Kind::lan;
}

TEST(InterfaceKind, isLANForWiredAndWirelessAdapters) {
  for (const char* name : {"eth0", "enp3s0", "eno1", "ens18", "enx001122334455", "wlan0", "wlp2s0", "wlx00"})
    EXPECT_TRUE(isLAN({.name = name, .hasDevice = true})) << name;
}

TEST(InterfaceKind, isLANForAnAdapterThatWasRenamed) {
  EXPECT_TRUE(isLAN({.name = "lan0", .hasDevice = true}));
}

TEST(InterfaceKind, isLANForVLANsAndForTheAdapterOfAContainer) {
  EXPECT_TRUE(isLAN({.name = "eth0.10"}));
  EXPECT_TRUE(isLAN({.name = "eth0"}));
}

TEST(InterfaceKind, isOtherForBridgesContainersTunnelsAndOverlays) {
  for (const char* name :
       {"lo", "docker0", "br-1a2b3c", "virbr0", "veth12ab", "tun0", "tap0", "wg0", "tailscale0", "ztabc123",
        "lxcbr0", "cni0", "flannel.1", "dummy0", "bond0", "ppp0"})
    EXPECT_FALSE(isLAN({.name = name})) << name;
  EXPECT_FALSE(isLAN({.name = "eth0", .hasDevice = true, .isBridge = true}));
  EXPECT_FALSE(isLAN({.name = "enbr", .isBridge = true}));
  EXPECT_FALSE(isLAN({.name = "eth1", .isTunnel = true})) << "an overlay that is named like an adapter";
}

TEST(InterfaceKind, isOtherForACellularModem) {
  EXPECT_FALSE(isLAN({.name = "wwan0", .hasDevice = true}));
  EXPECT_FALSE(isLAN({.name = "wwp0s20u4", .hasDevice = true}));
}

TEST(InterfaceFacts, areReadFromTheFolderOfTheInterface) {
  const TemporaryFolder folder;
  for (const char* path : {"eth0/device", "br0/bridge", "plain"})
    std::filesystem::create_directories(folder / path);
  folder.write("tun0/tun_flags", "0x1001\n");
  const auto facts = [&](const std::string& name) {
    return readInterfaceFacts(name, folder.path().string());
  };
  EXPECT_TRUE(facts("eth0").hasDevice);
  EXPECT_FALSE(facts("eth0").isBridge);
  EXPECT_TRUE(facts("br0").isBridge);
  EXPECT_TRUE(facts("tun0").isTunnel);
  EXPECT_FALSE(facts("plain").hasDevice);
  EXPECT_FALSE(facts("absent").hasDevice);
  EXPECT_TRUE(facts("eth0:1").hasDevice) << "the label of a further address";
  EXPECT_EQ(facts("eth0:1").name, "eth0");
}

}  // namespace
}  // namespace quorl::test
