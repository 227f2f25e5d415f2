// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Menu/Model/SetupState.h>

namespace quorl::test {
namespace {

NetworkStatus statusOf(OverlayKind overlay, OverlayHealth health) {
  NetworkStatus status;
  status.overlay = overlay;
  status.health = health;
  status.sessionPort = 47900;
  status.relayPort = 47901;
  return status;
}

SetupSnapshot shown(std::optional<NetworkStatus> status, const std::string& computer = "Workbench") {
  SetupState state;
  state.network = std::move(status);
  state.computerName = computer;
  return setupFrom(state, Date{1000});
}

TEST(SetupOverlay, isBeingCheckedWithoutAStatus) {
  const auto snapshot = shown(std::nullopt);
  EXPECT_EQ(snapshot.overlayColor, MenuColor::grey);
  EXPECT_EQ(snapshot.overlayStatus, "Checking connectivity…");
  EXPECT_EQ(snapshot.overlayGuidance, std::nullopt);
  EXPECT_EQ(snapshot.overlayAction, std::nullopt);
  EXPECT_EQ(snapshot.ports, "session 47900 · relay 47901");
}

TEST(SetupOverlay, isReachableFromAnywhereWhenOnline) {
  const auto snapshot = shown(statusOf(OverlayKind::tailscale, OverlayHealth::online));
  EXPECT_EQ(snapshot.overlayColor, MenuColor::green);
  EXPECT_EQ(snapshot.overlayStatus, "Tailscale — Reachable from anywhere");
  EXPECT_EQ(snapshot.overlayAction, std::nullopt);
  EXPECT_EQ(shown(statusOf(OverlayKind::zerotier, OverlayHealth::online)).overlayStatus,
            "ZeroTier — Reachable from anywhere");
}

TEST(SetupOverlay, offersToInstallOneWhereThereIsNone) {
  auto status = statusOf(OverlayKind::none, OverlayHealth::notInstalled);
  status.guidance = "Install Tailscale to reach this Mac from anywhere";
  status.actionURL = URL{"https://example.org/download"};
  const auto snapshot = shown(status);
  EXPECT_EQ(snapshot.overlayColor, MenuColor::grey);
  EXPECT_EQ(snapshot.overlayStatus, "LAN only — no overlay installed");
  EXPECT_EQ(snapshot.overlayGuidance, "Install Tailscale to reach this Mac from anywhere");
  EXPECT_EQ(snapshot.overlayAction, (OverlayAction{"Install Tailscale", "https://example.org/download"}));
}

TEST(SetupOverlay, offersToOpenTailscaleThatIsNotSignedIn) {
  auto status = statusOf(OverlayKind::tailscale, OverlayHealth::notReady);
  status.guidance = "Open Tailscale and sign in";
  status.actionURL = URL{"https://example.org/download"};
  const auto snapshot = shown(status);
  EXPECT_EQ(snapshot.overlayColor, MenuColor::orange);
  EXPECT_EQ(snapshot.overlayStatus, "Tailscale — Not signed in");
  EXPECT_EQ(snapshot.overlayAction, (OverlayAction{"Open Tailscale", "tailscale:"}));
}

TEST(SetupOverlay, showsOnlyGuidanceForZeroTierThatIsNotSignedIn) {
  auto status = statusOf(OverlayKind::zerotier, OverlayHealth::notReady);
  status.guidance = "Open ZeroTier and join your network";
  status.actionURL = URL{"https://example.org/"};
  const auto snapshot = shown(status);
  EXPECT_EQ(snapshot.overlayStatus, "ZeroTier — Not signed in");
  EXPECT_EQ(snapshot.overlayGuidance, "Open ZeroTier and join your network");
  EXPECT_EQ(snapshot.overlayAction, std::nullopt);
}

TEST(SetupOverlay, hidesTheButtonForAnUnknownOverlayThatIsNotReady) {
  const auto snapshot = shown(statusOf(OverlayKind::none, OverlayHealth::notReady));
  EXPECT_EQ(snapshot.overlayStatus, "No overlay — Not signed in");
  EXPECT_EQ(snapshot.overlayAction, std::nullopt);
}

TEST(SetupAddresses, showDashesWhileNothingIsKnown) {
  const auto snapshot = shown(std::nullopt);
  EXPECT_EQ(snapshot.address, "Workbench");
  EXPECT_EQ(snapshot.overlayAddresses, "—");
  EXPECT_EQ(snapshot.lanAddresses, "—");
  EXPECT_EQ(shown(std::nullopt, "").address, "this Mac");
}

TEST(SetupAddresses, listAllAddressesAndTheReportedPorts) {
  auto status = statusOf(OverlayKind::tailscale, OverlayHealth::online);
  status.overlayAddresses = {"100.64.0.7", "fd7a::7"};
  status.lanAddresses = {"192.168.1.5", "10.0.0.5"};
  status.sessionPort = 1;
  status.relayPort = 2;
  auto snapshot = shown(status);
  EXPECT_EQ(snapshot.address, "100.64.0.7");
  EXPECT_EQ(snapshot.overlayAddresses, "100.64.0.7, fd7a::7");
  EXPECT_EQ(snapshot.lanAddresses, "192.168.1.5, 10.0.0.5");
  EXPECT_EQ(snapshot.ports, "session 1 · relay 2");
  status.magicDNSName = "bench.tail.ts.net";
  EXPECT_EQ(shown(status).address, "bench.tail.ts.net");
}

TEST(JoinPayload, hasTheOverlaysNameElseItsFirstAddress) {
  auto status = statusOf(OverlayKind::tailscale, OverlayHealth::online);
  status.overlayAddresses = {"fd7a::7", "100.64.0.7"};
  status.lanAddresses = {"192.168.1.5"};
  EXPECT_EQ(joinPayload(status, "Bench"), "quorl://join?host=fd7a::7&port=47900&name=Bench");
  status.magicDNSName = "bench.tail.ts.net";
  EXPECT_EQ(joinPayload(status, "Bench"), "quorl://join?host=bench.tail.ts.net&port=47900&name=Bench");
}

TEST(JoinPayload, hasTheLANAddressWithoutAnOverlay) {
  auto status = statusOf(OverlayKind::none, OverlayHealth::notInstalled);
  status.lanAddresses = {"192.168.1.5", "10.0.0.5"};
  status.shortName = "bench";
  status.sessionPort = 48000;
  EXPECT_EQ(joinPayload(status, "Bench"), "quorl://join?host=192.168.1.5&port=48000&name=Bench");
}

TEST(JoinPayload, fallsBackToNames) {
  auto status = statusOf(OverlayKind::none, OverlayHealth::notInstalled);
  EXPECT_EQ(joinPayload(status, "Bench"), "quorl://join?host=Bench&port=47900&name=Bench");
  status.shortName = "short";
  EXPECT_EQ(joinPayload(status, "Bench"), "quorl://join?host=short&port=47900&name=Bench");
  EXPECT_EQ(joinPayload(std::nullopt, ""), "quorl://join?host=mac&port=47900&name=Mac");
}

TEST(JoinPayload, encodesAComputerNameWithSpaces) {
  EXPECT_EQ(joinPayload(std::nullopt, "Anna's Mac & Söhne=1+1"),
            "quorl://join?host=Anna's%20Mac%20%26%20S%C3%B6hne%3D1%2B1&port=47900"
            "&name=Anna's%20Mac%20%26%20S%C3%B6hne%3D1%2B1");
}

TEST(JoinPayload, leavesOutANameThatIsNoText) {
  EXPECT_EQ(joinPayload(std::nullopt, "\xff"), "quorl://join?host=\xff&port=47900");
}

TEST(SetupPermissions, nameTheStateOfBoth) {
  SetupState state;
  state.permissions.screen = true;
  const auto rows = setupFrom(state, Date{0}).permissions;
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].title, "Screen Recording");
  EXPECT_EQ(rows[0].status, "Granted");
  EXPECT_TRUE(rows[0].isGranted);
  EXPECT_EQ(rows[1].title, "Accessibility");
  EXPECT_EQ(rows[1].status, "Not granted");
  EXPECT_FALSE(rows[1].isGranted);
}

TEST(SetupClients, areNoneInASecondaryText) {
  const auto snapshot = shown(std::nullopt);
  EXPECT_EQ(snapshot.clients, "No clients connected.");
  EXPECT_FALSE(snapshot.hasClients);
}

TEST(SetupClients, haveOneLineEachWithoutTheProbeThatNeverCame) {
  SetupState state;
  state.clients = {{.name = "Pad", .endpoint = "10.0.0.2:50000", .since = Date{940}, .lastProbe = Date{990}},
                   {.name = "Phone", .endpoint = "", .since = Date{1000}, .lastProbe = std::nullopt}};
  const auto snapshot = setupFrom(state, Date{1000});
  EXPECT_EQ(snapshot.clients,
            "Pad (10.0.0.2:50000) — connected 1m ago, last probe 10s ago\nPhone — connected 0s ago");
  EXPECT_TRUE(snapshot.hasClients);
}

}  // namespace
}  // namespace quorl::test
