// SPDX-License-Identifier: GPL-3.0-or-later
// The windows with a host that the test plays at the other end of the socket.
#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QApplication>
#include <QClipboard>
#include <QTimer>

#include <QuorlUnix/Descriptor.h>

#include "MenuApp.h"
#include "WindowFixture.h"

namespace quorl::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class MenuAppTest : public testing::Test {
 protected:
  MenuAppTest() {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    host_ = Descriptor(ends[0]);
    program_ = Descriptor(ends[1]);
    ::fcntl(host_.get(), F_SETFL, O_NONBLOCK);
    start(std::chrono::hours(1));
  }
  void start(std::chrono::milliseconds trayPatience) {
    app_ = std::make_unique<MenuApp>(
        MenuApp::Settings{.descriptor = program_.get(), .trayPatience = trayPatience});
    EXPECT_TRUE(receives(menuAction::Ready{}));
    actions_.clear();
  }
  void say(const MenuMessage& message) { write(menuLine(message)); }
  void write(const std::string& text) {
    EXPECT_EQ(::send(host_.get(), text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
  }
  void read() {
    char buffer[4096];
    for (;;) {
      const ssize_t count = ::recv(host_.get(), buffer, sizeof buffer, 0);
      if (count <= 0) break;
      input_.append({buffer, static_cast<std::size_t>(count)});
    }
    while (const auto line = input_.next()) actions_.push_back(parseMenuAction(*line).value());
  }
  bool receives(const MenuAction& action) {
    return spinUntil([&] {
      read();
      return std::ranges::count(actions_, action) > 0;
    });
  }
  static MenuMessage content(const PopoverSnapshot& popover) {
    return menuMessage::Snapshot{MenuSnapshot{.popover = popover, .setup = {}}};
  }
  static MenuMessage content(const SetupSnapshot& setup) {
    return menuMessage::Snapshot{MenuSnapshot{.popover = {}, .setup = setup}};
  }
  void openPanel() {
    app_->togglePanel();
    ASSERT_TRUE(receives(menuAction::PanelOpened{}));
    say(content(somePopover()));
    ASSERT_TRUE(spinUntil([this] { return app_->panel() && app_->panel()->isVisible(); }));
  }

  Descriptor host_;
  Descriptor program_;
  LineBuffer input_;
  std::vector<MenuAction> actions_;
  std::unique_ptr<MenuApp> app_;
};

TEST_F(MenuAppTest, opensThePanelWithItsFirstContent) {
  app_->togglePanel();
  ASSERT_TRUE(receives(menuAction::PanelOpened{}));
  EXPECT_EQ(app_->panel(), nullptr) << "an empty panel";
  say(content(somePopover()));
  ASSERT_TRUE(spinUntil([this] { return app_->panel() != nullptr; }));
  EXPECT_TRUE(app_->panel()->isVisible());
  EXPECT_TRUE(showsText(*app_->panel(), "314159"));
}

TEST_F(MenuAppTest, closesThePanelOnASecondClickAndDropsIt) {
  openPanel();
  app_->togglePanel();
  EXPECT_TRUE(receives(menuAction::PanelClosed{}));
  EXPECT_EQ(app_->panel(), nullptr);
  openPanel();
}

TEST_F(MenuAppTest, ignoresContentForAPanelThatWasClosed) {
  openPanel();
  app_->panel()->close();
  ASSERT_TRUE(receives(menuAction::PanelClosed{}));
  say(content(somePopover()));
  say(menuMessage::ShowSetup{});
  ASSERT_TRUE(receives(menuAction::SetupRequested{})) << "the later message";
  EXPECT_EQ(app_->panel(), nullptr);
}

TEST_F(MenuAppTest, showsThePanelForAnotherStartOfTheHost) {
  say(menuMessage::ShowPanel{});
  EXPECT_TRUE(receives(menuAction::PanelOpened{}));
  say(content(somePopover()));
  EXPECT_TRUE(spinUntil([this] { return app_->panel() != nullptr; }));
}

TEST_F(MenuAppTest, updatesAnOpenPanel) {
  openPanel();
  PopoverSnapshot changed = somePopover();
  changed.pin = "271828";
  say(content(changed));
  EXPECT_TRUE(spinUntil([this] { return showsText(*app_->panel(), "271828"); }));
}

TEST_F(MenuAppTest, opensTheSetupWindowInPlaceOfThePanel) {
  openPanel();
  visibleButton(*app_->panel(), "Setup && Connectivity…")->click();
  EXPECT_TRUE(receives(menuAction::SetupRequested{}));
  EXPECT_TRUE(receives(menuAction::PanelClosed{}));
  EXPECT_EQ(app_->setup(), nullptr);
  say(content(someSetup()));
  EXPECT_TRUE(receives(menuAction::SetupShown{true}));
  EXPECT_TRUE(app_->setup()->isVisible());
}

TEST_F(MenuAppTest, keepsTheSetupWindowForTheNextTime) {
  say(menuMessage::ShowSetup{});
  ASSERT_TRUE(receives(menuAction::SetupRequested{}));
  say(content(someSetup()));
  ASSERT_TRUE(receives(menuAction::SetupShown{true}));
  const SetupWindow* window = app_->setup();
  app_->setup()->close();
  EXPECT_TRUE(receives(menuAction::SetupClosed{}));
  actions_.clear();
  say(menuMessage::ShowSetup{});
  ASSERT_TRUE(receives(menuAction::SetupRequested{}));
  say(content(someSetup()));
  EXPECT_TRUE(receives(menuAction::SetupShown{true}));
  EXPECT_EQ(app_->setup(), window);
}

TEST_F(MenuAppTest, doesNotReopenAClosedSetupWindowWithLateContent) {
  say(menuMessage::ShowSetup{});
  say(content(someSetup()));
  ASSERT_TRUE(receives(menuAction::SetupShown{true}));
  app_->setup()->close();
  say(content(someSetup()));
  say(menuMessage::ShowPanel{});
  ASSERT_TRUE(receives(menuAction::PanelOpened{})) << "the later message";
  EXPECT_FALSE(app_->setup()->isVisible());
}

TEST_F(MenuAppTest, copiesTheAddressToTheClipboard) {
  say(menuMessage::ShowSetup{});
  say(content(someSetup()));
  ASSERT_TRUE(receives(menuAction::SetupShown{true}));
  visibleButton(*app_->setup(), "Copy")->click();
  EXPECT_EQ(QGuiApplication::clipboard()->text(), "workbench");
}

TEST_F(MenuAppTest, reportsThatThereIsNoTray) {
  EXPECT_THAT(actions_, IsEmpty());
  app_.reset();
  start(std::chrono::milliseconds(0));
  EXPECT_TRUE(receives(menuAction::TrayMissing{}));
}

class MenuAppEnd : public MenuAppTest {
 protected:
  /// Whether the event loop ends.
  static bool ends() {
    bool timedOut = false;
    QTimer::singleShot(std::chrono::seconds(30), qApp, [&] {
      timedOut = true;
      QApplication::quit();
    });
    QApplication::exec();
    return !timedOut;
  }
};

TEST_F(MenuAppEnd, endsWithTheHost) {
  host_.reset();
  EXPECT_TRUE(ends());
}

TEST_F(MenuAppEnd, endsOnAnUnknownMessage) {
  write("{\"format\":{}}\n");
  EXPECT_TRUE(ends());
}

}  // namespace
}  // namespace quorl::test
