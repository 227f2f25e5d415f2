// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Network/NetworkDetector.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "NetworkFixture.h"

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const URL downloadPage{"https://tailscale.com/download"};
constexpr const char* runningTailscale =
    R"({"BackendState":"Running","Self":{"DNSName":"desk.tail1.ts.net.","TailscaleIPs":["100.101.1.2"]}})";

class NetworkDetectorTest : public NetworkFixture {
 protected:
  NetworkStatus detect() const {
    const NetworkDetector detector(platform(), {.session = 47'900, .relay = 47'901});
    return detector.detect(detector.addresses());
  }
  /// Before any overlay is found.
  static NetworkStatus base() {
    NetworkStatus status;
    status.shortName = "Workbench";
    status.lanAddresses = {"192.168.1.5"};
    status.sessionPort = 47'900;
    status.relayPort = 47'901;
    return status;
  }
  static NetworkStatus none() {
    NetworkStatus status = base();
    status.guidance = "Install Tailscale to reach this Mac from anywhere";
    status.actionURL = downloadPage;
    return status;
  }
  static NetworkStatus tailscaleNotReady(bool hasAction) {
    NetworkStatus status = base();
    status.overlay = OverlayKind::tailscale;
    status.health = OverlayHealth::notReady;
    status.guidance = "Open Tailscale and sign in";
    if (hasAction) status.actionURL = downloadPage;
    return status;
  }
};

TEST_F(NetworkDetectorTest, suggestsAnOverlayWithoutOneAndRunsNoProgram) {
  EXPECT_EQ(detect(), none());
  EXPECT_THAT(tools().runs, IsEmpty());
}

TEST_F(NetworkDetectorTest, hasNoNameIfTheComputersIsUnknown) {
  fakes_.machine->name = "";
  EXPECT_EQ(detect().shortName, std::nullopt);
}

TEST_F(NetworkDetectorTest, findsARunningTailscale) {
  installTailscale(runningTailscale);
  NetworkStatus expected = base();
  expected.overlay = OverlayKind::tailscale;
  expected.health = OverlayHealth::online;
  expected.magicDNSName = "desk.tail1.ts.net";
  expected.shortName = "desk";
  expected.overlayAddresses = {"100.101.1.2"};
  EXPECT_EQ(detect(), expected);
  EXPECT_THAT(tools().limits, ElementsAre(std::chrono::milliseconds(2000)));
}

TEST_F(NetworkDetectorTest, findsATailscaleThatIsLoggedOutWithItsAddresses) {
  for (const char* state : {"NeedsLogin", "Stopped", "NoState"}) {
    installTailscale(std::string(R"({"BackendState":")") + state +
                     R"(","Self":{"HostName":"desk","TailscaleIPs":["100.1.1.1"]}})");
    NetworkStatus expected = tailscaleNotReady(true);
    expected.shortName = "desk";
    expected.overlayAddresses = {"100.1.1.1"};
    EXPECT_EQ(detect(), expected) << state;
  }
}

TEST_F(NetworkDetectorTest, usesTheComputersNameIfTailscaleHasNone) {
  installTailscale("{}");
  EXPECT_EQ(detect(), tailscaleNotReady(true));
}

TEST_F(NetworkDetectorTest, offersNoActionForAnInstalledTailscaleThatDoesNotAnswer) {
  tools().files.insert("/opt/tailscaled");
  EXPECT_EQ(detect(), tailscaleNotReady(false)) << "no tool";
  for (const char* output : {"", "garbage", "\xFF\xFE", "[]"}) {
    installTailscale(output);
    EXPECT_EQ(detect(), tailscaleNotReady(false)) << output;
  }
  installTailscale("", ToolEnd::timedOut);
  EXPECT_EQ(detect(), tailscaleNotReady(false)) << "hangs";
}

TEST_F(NetworkDetectorTest, ignoresATailscaleToolThatDoesNotAnswer) {
  installTailscale("failed to connect");
  EXPECT_EQ(detect(), none());
  EXPECT_EQ(tools().runs.size(), 1U);
}

TEST_F(NetworkDetectorTest, readsWhatAToolPrintedBeforeItsTimeLimitAndWhateverItsStatus) {
  installTailscale(runningTailscale, ToolEnd::timedOut);
  EXPECT_EQ(detect().health, OverlayHealth::online);
  installTailscale(runningTailscale);
  tools().results.begin()->second.exitStatus = 1;
  EXPECT_EQ(detect().health, OverlayHealth::online);
}

TEST_F(NetworkDetectorTest, runsTheFirstToolThatIsExecutable) {
  tools().inPath["tailscale"] = "/home/anna/bin/tailscale";
  tools().executables = {"/opt/first/tailscale", "/opt/second/tailscale"};
  detect();
  tools().executables = {"/opt/second/tailscale"};
  detect();
  tools().executables = {};
  detect();
  EXPECT_THAT(tools().runs,
              ElementsAre("/opt/first/tailscale status --json", "/opt/second/tailscale status --json",
                          "/home/anna/bin/tailscale status --json"));
}

TEST_F(NetworkDetectorTest, findsAZeroTierThatIsOnline) {
  installZeroTier(R"({"online":true})", R"([{"assignedAddresses":["10.147.1.2/24"]}])");
  NetworkStatus expected = base();
  expected.overlay = OverlayKind::zerotier;
  expected.health = OverlayHealth::online;
  expected.overlayAddresses = {"10.147.1.2"};
  EXPECT_EQ(detect(), expected);
  EXPECT_THAT(tools().runs, ElementsAre("/opt/zerotier-cli -j info", "/opt/zerotier-cli -j listnetworks"));
}

TEST_F(NetworkDetectorTest, findsAZeroTierInThePath) {
  tools().inPath["zerotier-cli"] = "/snap/bin/zerotier-cli";
  tools().print("/snap/bin/zerotier-cli -j info", R"({"status":"online"})");
  EXPECT_EQ(detect().health, OverlayHealth::online);
}

TEST_F(NetworkDetectorTest, givesGuidanceForAZeroTierThatIsOffline) {
  installZeroTier(R"({"online":false})", R"([{"assignedAddresses":["10.147.1.2/24"]}])");
  const NetworkStatus status = detect();
  EXPECT_EQ(status.health, OverlayHealth::notReady);
  EXPECT_EQ(status.guidance, "Open ZeroTier and join your network");
  EXPECT_EQ(status.actionURL, std::nullopt);
  EXPECT_THAT(status.overlayAddresses, ElementsAre("10.147.1.2"));
}

TEST_F(NetworkDetectorTest, hasNoAddressesIfZeroTiersListOfNetworksFails) {
  for (const char* networks : {"", "garbage", "{}"}) {
    installZeroTier(R"({"online":true})", networks);
    const NetworkStatus status = detect();
    EXPECT_EQ(status.overlay, OverlayKind::zerotier) << networks;
    EXPECT_EQ(status.health, OverlayHealth::online) << networks;
    EXPECT_THAT(status.overlayAddresses, IsEmpty()) << networks;
  }
}

TEST_F(NetworkDetectorTest, ignoresAZeroTierThatDoesNotAnswer) {
  installZeroTier("zerotier-cli: authtoken.secret not found or readable", "");
  EXPECT_EQ(detect(), none());
  EXPECT_THAT(tools().runs, ElementsAre("/opt/zerotier-cli -j info"));
}

TEST_F(NetworkDetectorTest, prefersTailscaleEvenIfItIsNotOnlineAndNeverAsksZeroTier) {
  installZeroTier(R"({"online":true})", "[]");
  installTailscale(R"({"BackendState":"Stopped"})");
  EXPECT_EQ(detect().overlay, OverlayKind::tailscale);
  tools().print("/opt/second/tailscale status --json", "garbage");
  tools().files.insert("/opt/tailscaled");
  EXPECT_EQ(detect().overlay, OverlayKind::tailscale);
  EXPECT_EQ(tools().runs.size(), 2U);
}

TEST_F(NetworkDetectorTest, worksWithoutInterfacesAndTools) {
  Platform bare = platform();
  bare.interfaces = nullptr;
  bare.tools = nullptr;
  const NetworkDetector detector(bare, {.session = 47'900, .relay = 47'901});
  NetworkStatus expected = none();
  expected.lanAddresses.clear();
  EXPECT_EQ(detector.detect(detector.addresses()), expected);
}

}  // namespace
}  // namespace quorl::test
