// SPDX-License-Identifier: GPL-3.0-or-later
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Menu/Model/HostMenuState.h>
#include <QuorlHostCore/Menu/Model/RelativeTime.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

ClientSummary client(const std::string& name, double since = 1000) {
  return {.name = name, .endpoint = "10.0.0.2:50000", .since = Date{since}, .lastProbe = std::nullopt};
}

HostMenuState running(std::size_t clients = 0) {
  HostMenuState state;
  state.screenGranted = state.axGranted = state.ownsPort = true;
  for (std::size_t number = 1; number <= clients; ++number)
    state.clients.push_back(client("Pad " + std::to_string(number)));
  return state;
}

PopoverSnapshot shown(const HostMenuState& state, const std::string& computer = "Workbench") {
  return popoverFrom(state, {.computerName = computer, .port = 47900, .permissions = {}, .now = Date{1000}});
}

TEST(HostMenuState, saysThatAnotherUserSessionOwnsThePort) {
  HostMenuState state = running(1);
  state.ownsPort = false;
  EXPECT_EQ(state.statusLine(47900), "Standing by — another user session owns port 47900");
  EXPECT_EQ(state.statusColor(), MenuColor::red);
}

TEST(HostMenuState, waitsForADeviceWithoutClients) {
  EXPECT_EQ(running().statusLine(47900), "Waiting for a device…");
  EXPECT_EQ(running().statusColor(), MenuColor::orange);
}

TEST(HostMenuState, namesItsOnlyClientAndCountsSeveral) {
  EXPECT_EQ(running(1).statusLine(47900), "Connected to Pad 1");
  EXPECT_EQ(running(2).statusLine(47900), "Connected to 2 devices");
  EXPECT_EQ(running(2).statusColor(), MenuColor::green);
}

TEST(HostMenuState, isRedWithoutScreenRecordingOnly) {
  HostMenuState state = running(1);
  state.axGranted = false;
  EXPECT_EQ(state.statusColor(), MenuColor::green) << "accessibility has no part in the color";
  state.screenGranted = false;
  EXPECT_EQ(state.statusColor(), MenuColor::red);
}

TEST(Reachability, isLANOnlyWithoutANetworkStatus) {
  EXPECT_EQ(reachabilityText(std::nullopt), "LAN only");
  EXPECT_FALSE(isOverlayOnline(std::nullopt));
  EXPECT_EQ(HostMenuState().reachability, "LAN only");
}

TEST(Reachability, namesTheFirstLANAddressWithoutAnOverlay) {
  NetworkStatus status;
  status.lanAddresses = {"192.168.1.5", "10.0.0.5"};
  EXPECT_EQ(reachabilityText(status), "LAN only · 192.168.1.5");
  status.overlay = OverlayKind::tailscale;
  status.health = OverlayHealth::notReady;
  status.magicDNSName = "bench.tail.ts.net";
  EXPECT_EQ(reachabilityText(status), "LAN only · 192.168.1.5") << "an overlay that is not signed in";
}

TEST(Reachability, prefersTheOverlaysNameThenItsFirstAddress) {
  NetworkStatus status;
  status.health = OverlayHealth::online;
  EXPECT_EQ(reachabilityText(status), "Reachable anywhere · overlay");
  status.overlayAddresses = {"100.64.0.7", "fd7a::7"};
  EXPECT_EQ(reachabilityText(status), "Reachable anywhere · 100.64.0.7");
  status.magicDNSName = "bench.tail.ts.net";
  EXPECT_EQ(reachabilityText(status), "Reachable anywhere · bench.tail.ts.net");
  EXPECT_TRUE(isOverlayOnline(status));
}

TEST(PairedDevices, areCountedWithAPlural) {
  EXPECT_EQ(pairedDevicesText(0), "No paired devices yet");
  EXPECT_EQ(pairedDevicesText(1), "1 paired device");
  EXPECT_EQ(pairedDevicesText(2), "2 paired devices");
}

TEST(Popover, offersToRevokeOnlyWhatIsPaired) {
  HostMenuState state = running();
  EXPECT_FALSE(shown(state).canRevoke);
  state.pairedCount = 1;
  EXPECT_TRUE(shown(state).canRevoke);
}

TEST(Popover, namesTheComputerOrCallsItMac) {
  EXPECT_EQ(shown(running()).title, "Quorl · Workbench");
  EXPECT_EQ(shown(running(), "").title, "Quorl · Mac");
}

TEST(Popover, listsOnlyThePermissionsThatAreMissing) {
  HostMenuState state = running();
  EXPECT_THAT(shown(state).missingPermissions, IsEmpty());
  state.axGranted = false;
  EXPECT_THAT(shown(state).missingPermissions,
              ElementsAre(PermissionRow{.permission = MenuPermission::accessibility,
                                        .title = "Accessibility",
                                        .detail = "Lets taps, keys and window fitting reach your apps.",
                                        .obstacle = ""}));
  state.screenGranted = false;
  const auto both = shown(state).missingPermissions;
  ASSERT_EQ(both.size(), 2U);
  EXPECT_EQ(both[0].title, "Screen Recording");
  EXPECT_EQ(both[0].detail, "Lets Quorl stream your screen to the iPad.");
  EXPECT_EQ(shown(state).permissionNote,
            "If the prompt doesn't appear, use ⚙ to open System Settings — then relaunch Quorl Host.");
}

TEST(Popover, saysWhatIsMissingWhereThePlatformHasNoPrompt) {
  HostMenuState state = running();
  state.screenGranted = false;
  const auto snapshot =
      popoverFrom(state, {.computerName = "",
                          .port = 1,
                          .permissions = {.screenObstacle = "There is no display.", .canRequest = false},
                          .now = Date{0}});
  ASSERT_EQ(snapshot.missingPermissions.size(), 1U);
  EXPECT_EQ(snapshot.missingPermissions[0].obstacle, "There is no display.");
  EXPECT_FALSE(snapshot.missingPermissions[0].canRequest);
  EXPECT_EQ(snapshot.permissionNote, "") << "the note is about the prompt";
}

TEST(Popover, showsEachClientWithItsEndpointAndAge) {
  HostMenuState state = running();
  state.clients = {client("Pad", 955), client("Phone", 1000 - 7260)};
  EXPECT_THAT(shown(state).clients, ElementsAre(MenuClientRow{"Pad", "10.0.0.2:50000 · 45s"},
                                                MenuClientRow{"Phone", "10.0.0.2:50000 · 2h"}));
}

TEST(Popover, namesTheConsoleUserOrTheLoginWindow) {
  HostMenuState state = running();
  EXPECT_EQ(shown(state).consoleSession, "Console session: login window");
  state.consoleUser = "anna";
  EXPECT_EQ(shown(state).consoleSession, "Console session: anna");
}

TEST(RelativeTime, truncatesToTheLargestUnit) {
  const auto age = [](double seconds) { return shortAge(Date{0}, Date{seconds}); };
  EXPECT_EQ(age(0), "0s");
  EXPECT_EQ(age(59.9), "59s");
  EXPECT_EQ(age(60), "1m");
  EXPECT_EQ(age(3599), "59m");
  EXPECT_EQ(age(3600), "1h");
  EXPECT_EQ(age(200'000), "55h");
}

TEST(RelativeTime, isNeverNegativeAndSurvivesAnyDate) {
  EXPECT_EQ(shortAge(Date{100}, Date{0}), "0s");
  EXPECT_EQ(shortAge(Date{std::numeric_limits<double>::quiet_NaN()}, Date{0}), "0s");
  EXPECT_EQ(shortAge(Date{-std::numeric_limits<double>::infinity()}, Date{0}), "2500000000000h");
  EXPECT_EQ(longAge(Date{0}, Date{61}), "1m ago");
}

}  // namespace
}  // namespace quorl::test
