// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Menu/Service/MenuService.h>
#include <QuorlHostCore/Runtime/HostRuntime.h>
#include <QuorlHostCore/Session/ConnectionServer.h>
#include <QuorlHostCore/Trust/PairingState.h>
#include <QuorlHostCore/Trust/TrustStore.h>
#include <Support/FakeClient.h>
#include <Support/FakeMenuSurface.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

using namespace std::chrono_literals;
using testing::SizeIs;

class MenuServiceTest : public testing::Test {
 protected:
  MenuServiceTest() {
    config_.fixedPIN = "123456";
    config_.enableBackgroundServices = false;
  }

  MenuSources sources() {
    return {.port = config_.port,
            .server = runtime_->server(),
            .trustStore = runtime_->trustStore(),
            .pairing = runtime_->pairing(),
            .permissions = platform_.permissions,
            .machine = platform_.machine,
            .loginItem = loginItem_,
            .network = [this] { return network_; }};
  }
  void start(MenuService::FirstStart firstStart = MenuService::FirstStart::opensNothing) {
    runtime_ = HostRuntime::make(config_, platform_.platform());
    menu_ = MenuService::make(
        simulation_, sources(),
        {.surface = surface_, .notifier = notifier_, .quit = [this] { ++quits_; }, .firstStart = firstStart});
    ASSERT_TRUE(runtime_->start().has_value());
    menu_->start();
    simulation_.runReady();
  }
  void startReady() {
    start();
    say(menuAction::Ready{});
  }
  void say(const MenuAction& action) {
    surface_->say(action);
    simulation_.runReady();
  }
  FakeClient pairedClient() {
    FakeClient client(simulation_, platform_.network->connect(config_.port));
    client.settle();
    EXPECT_TRUE(client.pair("123456"));
    client.settle();
    return client;
  }

  LogRecorder log_;
  SimulatedScheduler simulation_;
  FakePlatform platform_{simulation_};
  HostCoreConfig config_ = HostCoreConfig::menuBar;
  std::shared_ptr<FakeMenuSurface> surface_ = std::make_shared<FakeMenuSurface>();
  std::shared_ptr<FakeLoginItem> loginItem_ = std::make_shared<FakeLoginItem>();
  std::shared_ptr<FakeNotifier> notifier_ = std::make_shared<FakeNotifier>();
  std::optional<NetworkStatus> network_;
  int quits_ = 0;
  std::shared_ptr<HostRuntime> runtime_;
  std::shared_ptr<MenuService> menu_;
};

TEST_F(MenuServiceTest, showsTheHostInTheFirstSnapshotOfThePopover) {
  startReady();
  loginItem_->isInstalled = true;
  say(menuAction::PanelOpened{});
  const auto shown = surface_->popover();
  ASSERT_TRUE(shown);
  EXPECT_EQ(surface_->snapshots(), 1U) << "one complete snapshot, not several partial ones";
  EXPECT_EQ(shown->title, "Quorl · Workbench");
  EXPECT_EQ(shown->statusLine, "Waiting for a device…");
  EXPECT_EQ(shown->statusColor, MenuColor::orange);
  EXPECT_EQ(shown->reachability, "LAN only");
  EXPECT_EQ(shown->pin, "123456");
  EXPECT_EQ(shown->consoleSession, "Console session: anna");
  EXPECT_TRUE(shown->startAtLogin);
  EXPECT_THAT(shown->missingPermissions, SizeIs(0));
  EXPECT_FALSE(surface_->setup());
}

TEST_F(MenuServiceTest, standsByWhileAnotherUserOwnsTheConsole) {
  start();
  platform_.console->handTo("bert");
  simulation_.runReady();
  say(menuAction::PanelOpened{});
  EXPECT_EQ(surface_->popover()->statusLine, "Standing by — another user session owns port 47900");
  EXPECT_EQ(surface_->popover()->consoleSession, "Console session: bert");
  platform_.console->handTo(std::nullopt);
  simulation_.advance(1s);
  EXPECT_EQ(surface_->popover()->consoleSession, "Console session: login window");
}

TEST_F(MenuServiceTest, wakesUpForNothingWhileNoWindowIsOpen) {
  startReady();
  const auto timers = simulation_.pendingTimers();
  say(menuAction::PanelOpened{});
  say(menuAction::SetupRequested{});
  EXPECT_EQ(simulation_.pendingTimers(), timers + 2);
  say(menuAction::PanelClosed{});
  say(menuAction::SetupClosed{});
  EXPECT_EQ(simulation_.pendingTimers(), timers);
  surface_->messages.clear();
  simulation_.advance(1h);
  runtime_->pairing()->regenerate();
  runtime_->trustStore()->revokeAll();
  simulation_.runReady();
  EXPECT_THAT(surface_->messages, SizeIs(0));
}

TEST_F(MenuServiceTest, readsThePopoversFactsOnceASecond) {
  startReady();
  say(menuAction::PanelOpened{});
  platform_.machine->name = "Renamed";
  simulation_.advance(999ms);
  EXPECT_EQ(surface_->popover()->title, "Quorl · Workbench");
  simulation_.advance(1ms);
  EXPECT_EQ(surface_->popover()->title, "Quorl · Renamed");
}

TEST_F(MenuServiceTest, readsTheSetupWindowsFactsEveryTwoSeconds) {
  startReady();
  say(menuAction::SetupRequested{});
  EXPECT_EQ(surface_->setup()->overlayStatus, "Checking connectivity…");
  network_.emplace();
  network_->lanAddresses = {"192.168.1.5"};
  simulation_.advance(1999ms);
  EXPECT_EQ(surface_->setup()->lanAddresses, "—");
  simulation_.advance(1ms);
  EXPECT_EQ(surface_->setup()->lanAddresses, "192.168.1.5");
}

TEST_F(MenuServiceTest, sendsNothingWhileNothingChanges) {
  startReady();
  say(menuAction::PanelOpened{});
  simulation_.advance(1min);
  EXPECT_EQ(surface_->snapshots(), 1U);
}

TEST_F(MenuServiceTest, showsChangesAtOnce) {
  config_.fixedPIN.reset();
  startReady();
  say(menuAction::PanelOpened{});
  const std::string before = surface_->popover()->pin;
  runtime_->pairing()->regenerate();
  simulation_.runReady();
  EXPECT_NE(surface_->popover()->pin, before) << "the PIN";
  runtime_->trustStore()->addDevice(UUID{}, "Pad");
  simulation_.runReady();
  EXPECT_EQ(surface_->popover()->pairedDevices, "1 paired device");
  network_.emplace();
  network_->health = OverlayHealth::online;
  menu_->networkChanged();
  simulation_.runReady();
  EXPECT_EQ(surface_->popover()->reachability, "Reachable anywhere · overlay");
}

TEST_F(MenuServiceTest, listsClientsAsTheyComeAndGo) {
  startReady();
  say(menuAction::PanelOpened{});
  {
    FakeClient client = pairedClient();
    ASSERT_THAT(surface_->popover()->clients, SizeIs(1));
    EXPECT_EQ(surface_->popover()->statusColor, MenuColor::green);
    client.peer->finish();
    simulation_.runReady();
  }
  EXPECT_THAT(surface_->popover()->clients, SizeIs(0));
}

TEST_F(MenuServiceTest, sendsClientsTheReasonOfTheirDisconnection) {
  startReady();
  say(menuAction::PanelOpened{});
  FakeClient client = pairedClient();
  say(menuAction::DisconnectAll{});
  client.settle();
  EXPECT_EQ(client.last<message::SessionClosed>()->reason, "Disconnected from the Mac.");
  say(menuAction::RevokeAll{});
  client.settle();
  EXPECT_EQ(client.last<message::SessionClosed>()->reason, "Pairings were revoked on the Mac.");
  EXPECT_THAT(runtime_->trustStore()->trustedDevices(), SizeIs(0));
  EXPECT_EQ(surface_->popover()->pairedDevices, "No paired devices yet");
  EXPECT_FALSE(surface_->popover()->canRevoke);
}

TEST_F(MenuServiceTest, togglesTheSettings) {
  startReady();
  say(menuAction::PanelOpened{});
  say(menuAction::ToggleMagnify{});
  EXPECT_TRUE(runtime_->trustStore()->settings().magnifyAsCommandScroll);
  EXPECT_TRUE(surface_->popover()->magnifyAsCommandScroll);
  say(menuAction::ToggleMagnify{});
  EXPECT_FALSE(surface_->popover()->magnifyAsCommandScroll);
  say(menuAction::ToggleStartAtLogin{});
  EXPECT_TRUE(loginItem_->isInstalled);
  EXPECT_TRUE(surface_->popover()->startAtLogin);
  say(menuAction::ToggleStartAtLogin{});
  EXPECT_FALSE(loginItem_->isInstalled);
}

TEST_F(MenuServiceTest, regeneratesThePINOnRequest) {
  config_.fixedPIN.reset();
  startReady();
  say(menuAction::PanelOpened{});
  const std::string before = surface_->popover()->pin;
  say(menuAction::RegeneratePIN{});
  EXPECT_NE(surface_->popover()->pin, before);
  EXPECT_EQ(surface_->popover()->pin, runtime_->pairing()->pin());
}

TEST_F(MenuServiceTest, requestsEachPermission) {
  platform_.permissions->screen = platform_.permissions->input = false;
  startReady();
  say(menuAction::PanelOpened{});
  EXPECT_THAT(surface_->popover()->missingPermissions, SizeIs(2));
  EXPECT_EQ(surface_->popover()->statusColor, MenuColor::red);
  EXPECT_EQ(platform_.permissions->screenRequests, 0) << "only the person asks for a prompt";
  say(menuAction::RequestPermission{MenuPermission::screenRecording});
  EXPECT_EQ(platform_.permissions->screenRequests, 1);
  say(menuAction::RequestPermission{MenuPermission::accessibility});
  EXPECT_EQ(platform_.permissions->inputRequests, 1);
}

TEST_F(MenuServiceTest, logsTheSetupWindow) {
  startReady();
  say(menuAction::SetupRequested{});
  EXPECT_EQ(log_.count("setup window requested"), 1U);
  say(menuAction::SetupShown{true});
  EXPECT_EQ(log_.count("setup window shown (visible=true)"), 1U);
}

TEST_F(MenuServiceTest, quitsOnRequest) {
  startReady();
  say(menuAction::Quit{});
  EXPECT_EQ(quits_, 1);
}

TEST_F(MenuServiceTest, asksForThePanelWhenTheProgramIsReady) {
  start();
  menu_->showPanel();
  simulation_.runReady();
  EXPECT_FALSE(surface_->wasSent<menuMessage::ShowPanel>());
  say(menuAction::Ready{});
  EXPECT_TRUE(surface_->wasSent<menuMessage::ShowPanel>());
  surface_->messages.clear();
  menu_->showPanel();
  simulation_.runReady();
  EXPECT_TRUE(surface_->wasSent<menuMessage::ShowPanel>());
}

TEST_F(MenuServiceTest, notifiesOnceThatThereIsNoTray) {
  startReady();
  say(menuAction::TrayMissing{});
  say(menuAction::TrayMissing{});
  ASSERT_THAT(notifier_->notes, SizeIs(1));
  EXPECT_EQ(notifier_->notes[0].second,
            "This desktop has no tray for its icon. Start Quorl Host again to open its panel.");
}

TEST_F(MenuServiceTest, opensTheSetupWindowAtTheFirstStartOnly) {
  start(MenuService::FirstStart::opensSetup);
  say(menuAction::Ready{});
  EXPECT_TRUE(surface_->wasSent<menuMessage::ShowSetup>());
  surface_->messages.clear();
  say(menuAction::Ready{});
  EXPECT_FALSE(surface_->wasSent<menuMessage::ShowSetup>()) << "the program came back";
  menu_->stop();
  start(MenuService::FirstStart::opensSetup);
  say(menuAction::Ready{});
  EXPECT_FALSE(surface_->wasSent<menuMessage::ShowSetup>()) << "another start";
}

TEST_F(MenuServiceTest, opensTheSetupWindowAtTheFirstStartAlsoAfterAClientHasConnected) {
  start(MenuService::FirstStart::opensSetup);
  const FakeClient client = pairedClient();
  ASSERT_TRUE(runtime_->trustStore()->settings().hostDeviceID.has_value());
  say(menuAction::Ready{});
  EXPECT_TRUE(surface_->wasSent<menuMessage::ShowSetup>());
}

TEST_F(MenuServiceTest, startsTheProgramWhenADisplayAppears) {
  surface_->hasDisplay = false;
  start();
  simulation_.advance(1h);
  EXPECT_EQ(surface_->starts, 0);
  EXPECT_EQ(surface_->probes, 6) << "no polling while nothing changes";
  surface_->displayAppears();
  simulation_.runReady();
  EXPECT_EQ(surface_->starts, 1);
}

TEST_F(MenuServiceTest, startsTheProgramAgainWithANewDisplay) {
  startReady();
  say(menuAction::PanelOpened{});
  simulation_.advance(1min);
  surface_->hasDisplay = false;
  surface_->end();
  simulation_.advance(1min);
  EXPECT_EQ(surface_->starts, 1);
  surface_->displayAppears();
  simulation_.runReady();
  EXPECT_EQ(surface_->starts, 2);
  surface_->messages.clear();
  say(menuAction::Ready{});
  simulation_.advance(1min);
  EXPECT_THAT(surface_->messages, SizeIs(0)) << "its windows are closed";
}

TEST_F(MenuServiceTest, givesUpAProgramThatKeepsFailingWithOneLine) {
  start();
  for (int attempt = 0; attempt < 20; ++attempt) {
    surface_->end();
    simulation_.advance(9s);
    if (surface_->starts == static_cast<int>(MenuPace::maxFailures)) break;
  }
  surface_->end();
  simulation_.advance(1h);
  EXPECT_EQ(surface_->starts, 5);
  EXPECT_EQ(log_.count("the menu program does not run (exit status 1); the host continues without it"), 1U);
  menu_->showPanel();
  simulation_.runReady();
  EXPECT_EQ(surface_->starts, 6) << "a person asks for it";
}

TEST_F(MenuServiceTest, survivesAProgramThatSendsInvalidLines) {
  startReady();
  surface_->sayLine("\xff{[");
  simulation_.runReady();
  say(menuAction::PanelOpened{});
  EXPECT_TRUE(surface_->popover());
  EXPECT_EQ(log_.count("the menu program sent an invalid line"), 1U);
}

TEST_F(MenuServiceTest, isSilentAfterItsEnd) {
  startReady();
  say(menuAction::PanelOpened{});
  menu_->stop();
  EXPECT_TRUE(surface_->isClosed);
  surface_->messages.clear();
  say(menuAction::PanelOpened{});
  simulation_.advance(1min);
  EXPECT_THAT(surface_->messages, SizeIs(0));
}

}  // namespace
}  // namespace quorl::test
