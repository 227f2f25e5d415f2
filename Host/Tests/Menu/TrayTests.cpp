// SPDX-License-Identifier: GPL-3.0-or-later
// The menu program with real trays on a virtual desktop.
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <Linux/System/ChildProgram.h>
#include <Linux/System/PrivateSessionBus.h>
#include <QuorlUnix/Descriptor.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include "MenuProgram.h"

namespace quorl::test {
namespace {

constexpr std::chrono::seconds patience{30};

struct Place {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};

/// Where the visible windows are for which xdotool finds `name` in `property`.
std::vector<Place> placesOf(const XServer& desktop, const std::string& property, const std::string& name) {
  const std::string text = desktop.run({"xdotool", "search", "--onlyvisible", property, "^" + name + "$",
                                        "getwindowgeometry", "--shell", "%@"});
  std::vector<Place> places;
  for (auto start = text.find("X="); start != std::string::npos; start = text.find("X=", start + 1)) {
    Place place;
    if (std::sscanf(text.c_str() + start, "X=%d\nY=%d\nWIDTH=%d\nHEIGHT=%d", &place.x, &place.y, &place.width,
                    &place.height) == 4)
      places.push_back(place);
  }
  return places;
}

std::optional<Place> placeOf(const XServer& desktop, const std::string& name) {
  const auto places = placesOf(desktop, "--name", name);
  return places.empty() ? std::nullopt : std::optional(places.front());
}

void clickAt(const XServer& desktop, int x, int y) {
  desktop.run({"xdotool", "mousemove", std::to_string(x), std::to_string(y), "click", "1"});
}

class XEmbedTrayTest : public testing::Test {
 protected:
  XEmbedTrayTest()
      : desktop_({.windowManager = XServer::WindowManager::openbox}),
        tray_(desktop_.start({"trayer", "--edge", "top", "--align", "right", "--height", "26",
                              "--SetPartialStrut", "true"})) {}

  /// Where the icon is, once the tray has taken it.
  std::optional<Place> icon() {
    std::optional<Place> place;
    eventually(
        [&] {
          for (const Place& window : placesOf(desktop_, "--class", "quorl_host_menu"))
            if (window.width > 8 && window.y < 26) place = window;
          return place.has_value();
        },
        patience);
    return place;
  }
  static bool panelIsOpen(const XServer& desktop) { return placeOf(desktop, "Quorl Host").has_value(); }
  bool panelOpens() {
    return eventually([this] { return panelIsOpen(desktop_); }, patience);
  }
  bool panelCloses() {
    return eventually([this] { return !panelIsOpen(desktop_); }, patience);
  }
  void open(Menu& menu) {
    ASSERT_TRUE(menu.receives(menuAction::Ready{}));
    const auto place = icon();
    ASSERT_TRUE(place);
    clickAt(desktop_, place->x + place->width / 2, place->y + place->height / 2);
    ASSERT_TRUE(menu.receives(menuAction::PanelOpened{}));
    menu.show();
    ASSERT_TRUE(panelOpens());
  }

  XServer desktop_;
  HelperProgram tray_;
};

TEST_F(XEmbedTrayTest, opensThePanelBelowTheIcon) {
  Menu menu(desktop_);
  open(menu);
  const auto panel = placeOf(desktop_, "Quorl Host");
  const auto place = icon();
  ASSERT_TRUE(panel && place);
  EXPECT_GE(panel->y, 26);
  EXPECT_LT(panel->y, 60);
  EXPECT_EQ(panel->width, 336);
  EXPECT_EQ(panel->x + panel->width, 1280 - 8) << "as far right as it may";
}

TEST_F(XEmbedTrayTest, closesThePanelOnAClickAnywhereElse) {
  Menu menu(desktop_);
  open(menu);
  clickAt(desktop_, 1100, 100);
  EXPECT_TRUE(panelIsOpen(desktop_)) << "a click inside";
  clickAt(desktop_, 200, 600);
  EXPECT_TRUE(menu.receives(menuAction::PanelClosed{}));
  EXPECT_TRUE(panelCloses());
}

TEST_F(XEmbedTrayTest, closesThePanelOnASecondClickOnTheIcon) {
  Menu menu(desktop_);
  open(menu);
  menu.forget();
  const auto place = icon();
  ASSERT_TRUE(place);
  clickAt(desktop_, place->x + place->width / 2, place->y + place->height / 2);
  EXPECT_TRUE(menu.receives(menuAction::PanelClosed{}));
  menu.say(menuMessage::ShowSetup{});
  ASSERT_TRUE(menu.receives(menuAction::SetupRequested{})) << "everything before has been handled";
  EXPECT_FALSE(menu.receivedAlready(menuAction::PanelOpened{}));
}

TEST_F(XEmbedTrayTest, opensThePanelOnTheSecondOfTwoQuickClicks) {
  Menu menu(desktop_);
  ASSERT_TRUE(menu.receives(menuAction::Ready{}));
  const auto place = icon();
  ASSERT_TRUE(place);
  desktop_.run(
      {"xdotool", "mousemove", std::to_string(place->x + 8), std::to_string(place->y + 8), "click", "1"});
  ASSERT_TRUE(menu.receives(menuAction::PanelOpened{}));
  menu.show();
  ASSERT_TRUE(panelOpens());
  menu.forget();
  desktop_.run({"xdotool", "key", "Escape"});
  EXPECT_TRUE(menu.receives(menuAction::PanelClosed{}));
  // Before that the panel still has the pointer.
  EXPECT_TRUE(panelCloses());
  desktop_.run({"xdotool", "click", "1"});
  EXPECT_TRUE(menu.receives(menuAction::PanelOpened{}));
}

TEST_F(XEmbedTrayTest, closesThePanelOnEscape) {
  Menu menu(desktop_);
  open(menu);
  desktop_.run({"xdotool", "key", "Escape"});
  EXPECT_TRUE(menu.receives(menuAction::PanelClosed{}));
  EXPECT_TRUE(panelCloses());
}

TEST_F(XEmbedTrayTest, actsOnAClickOnAButton) {
  Menu menu(desktop_);
  open(menu);
  const auto panel = placeOf(desktop_, "Quorl Host");
  ASSERT_TRUE(panel);
  clickAt(desktop_, panel->x + panel->width - 40, panel->y + panel->height - 28);
  EXPECT_TRUE(menu.receives(menuAction::Quit{}));
}

TEST(NoTray, isReportedAndThePanelOpensNevertheless) {
  const XServer desktop;
  Menu menu(desktop, {"--tray-patience", "0"});
  EXPECT_TRUE(menu.receives(menuAction::TrayMissing{}));
  menu.say(menuMessage::ShowPanel{});
  ASSERT_TRUE(menu.receives(menuAction::PanelOpened{}));
  menu.show();
  ASSERT_TRUE(eventually([&] { return placeOf(desktop, "Quorl Host").has_value(); }, patience));
  const auto panel = placeOf(desktop, "Quorl Host");
  EXPECT_EQ(panel->x + panel->width / 2, 1280 - 8 - 168);
}

TEST(NoDisplay, endsTheProgramWithoutACrash) {
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const Descriptor host(ends[0]);
  const Descriptor other(ends[1]);
  HelperProgram program({"sh", "-c", "exec " QUORL_HOST_MENU_PROGRAM " 0<&7"},
                        {.environment = {"DISPLAY=:9999"}, .passedDescriptor = other.get()});
  const int status = program.wait();
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 3);
}

/// A tray on the bus, played by a script.
class BusTrayTest : public testing::Test {
 protected:
  BusTrayTest() { EXPECT_TRUE(bus_.isRunning()); }
  void startTray() {
    tray_ = std::make_unique<ChildProgram>(
        std::vector<std::string>{"/usr/bin/python3", "-u", QUORL_STATUS_NOTIFIER},
        std::vector<std::string>{"DBUS_SESSION_BUS_ADDRESS=" + bus_.address()});
    ASSERT_TRUE(tray_->waitForOutput("serving", patience)) << tray_->output();
  }

  PrivateSessionBus bus_;
  XServer desktop_;
  std::unique_ptr<ChildProgram> tray_;
};

TEST_F(BusTrayTest, opensThePanelWhenTheTrayActivatesTheIcon) {
  startTray();
  Menu menu(desktop_, {"--tray-patience", "0"});
  ASSERT_TRUE(menu.receives(menuAction::Ready{}));
  ASSERT_TRUE(tray_->waitForOutput("registered", patience)) << tray_->output();
  tray_->signal(SIGUSR1);
  ASSERT_TRUE(menu.receives(menuAction::PanelOpened{})) << tray_->output();
  menu.show();
  EXPECT_TRUE(eventually([&] { return placeOf(desktop_, "Quorl Host").has_value(); }, patience));
  EXPECT_FALSE(menu.receivedAlready(menuAction::TrayMissing{}));
}

TEST_F(BusTrayTest, startsAgainForATrayThatAppearsLater) {
  Menu menu(desktop_, {"--tray-patience", "0"});
  ASSERT_TRUE(menu.receives(menuAction::TrayMissing{}));
  startTray();
  EXPECT_EQ(menu.program().wait(), 0) << "the host starts it again";
}

}  // namespace
}  // namespace quorl::test
