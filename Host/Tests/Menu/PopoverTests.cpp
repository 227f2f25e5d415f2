// SPDX-License-Identifier: GPL-3.0-or-later
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QScrollBar>

#include "PopoverPanel.h"
#include "WindowFixture.h"

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class PopoverTest : public testing::Test {
 protected:
  PopoverPanel& open(const PopoverSnapshot& snapshot) {
    panel_ = std::make_unique<PopoverPanel>(
        PopoverPanel::Handlers{.act = [this](const MenuAction& action) { actions_.push_back(action); },
                               .openSetup = [this] { ++setups_; },
                               .closed =
                                   [this](std::optional<QPoint> outside) {
                                     ++closes_;
                                     outside_ = outside;
                                   }});
    fill(snapshot);
    panel_->show();
    return *panel_;
  }
  void fill(const PopoverSnapshot& snapshot) {
    panel_->fill(snapshot);
    panel_->fit(2000);
    settle();
  }
  void press(const std::string& name) {
    QAbstractButton* button = visibleButton(*panel_, name);
    ASSERT_NE(button, nullptr) << name;
    button->click();
  }
  void clickAt(QPoint point) {
    QMouseEvent event(QEvent::MouseButtonPress, point, panel_->mapToGlobal(point), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(panel_.get(), &event);
  }

  std::unique_ptr<PopoverPanel> panel_;
  std::vector<MenuAction> actions_;
  int setups_ = 0;
  int closes_ = 0;
  std::optional<QPoint> outside_;
};

PopoverSnapshot withEverything() {
  PopoverSnapshot snapshot = somePopover();
  snapshot.missingPermissions = {{MenuPermission::screenRecording, "Screen Recording", "Detail S", "", true},
                                 {MenuPermission::accessibility, "Accessibility", "Detail A", "", true}};
  snapshot.permissionNote = "Note";
  snapshot.clients = {{"Pad", "10.0.0.2:1 · 3s"}};
  snapshot.pairedDevices = "1 paired device";
  snapshot.canRevoke = true;
  return snapshot;
}

TEST_F(PopoverTest, showsEverythingInOrder) {
  open(withEverything());
  EXPECT_THAT(visibleTexts(*panel_),
              ElementsAre("Quorl · workbench", "Waiting for a device…", "LAN only", "Screen Recording",
                          "Grant…", "Detail S", "Accessibility", "Grant…", "Detail A", "Note", "Pairing PIN",
                          "314159", "Enter this on the iPad the first time it pairs.", "Pad",
                          "10.0.0.2:1 · 3s", "Revoke all", "1 paired device", "Console session: anna",
                          "Map pinch zoom to ⌘-scroll", "Start at login", "Setup && Connectivity…", "Quit"));
}

TEST_F(PopoverTest, showsNoPermissionCardWhileBothAreGranted) {
  open(somePopover());
  EXPECT_FALSE(panel_->findChild<QWidget*>("permissions")->isVisible());
  fill(withEverything());
  EXPECT_TRUE(panel_->findChild<QWidget*>("permissions")->isVisible());
  PopoverSnapshot one = withEverything();
  one.missingPermissions.erase(one.missingPermissions.begin());
  fill(one);
  EXPECT_FALSE(showsText(*panel_, "Screen Recording"));
  EXPECT_TRUE(showsText(*panel_, "Accessibility"));
}

TEST_F(PopoverTest, saysWhatIsMissingInsteadOfAButtonWithoutAPrompt) {
  PopoverSnapshot snapshot = somePopover();
  snapshot.missingPermissions = {{MenuPermission::screenRecording, "Screen Recording", "Detail",
                                  "The display lacks the extension DAMAGE.", false}};
  open(snapshot);
  EXPECT_TRUE(showsText(*panel_, "The display lacks the extension DAMAGE."));
  EXPECT_EQ(visibleButton(*panel_, "Grant…"), nullptr);
}

TEST_F(PopoverTest, hasAButtonForEachAction) {
  open(withEverything());
  press("Disconnect all devices");
  press("Grant Screen Recording");
  press("Grant Accessibility");
  press("Generate a new PIN");
  press("Revoke all");
  press("Map pinch zoom to ⌘-scroll");
  press("Start at login");
  press("Quit");
  EXPECT_THAT(
      actions_,
      ElementsAre(menuAction::DisconnectAll{}, menuAction::RequestPermission{MenuPermission::screenRecording},
                  menuAction::RequestPermission{MenuPermission::accessibility}, menuAction::RegeneratePIN{},
                  menuAction::RevokeAll{}, menuAction::ToggleMagnify{}, menuAction::ToggleStartAtLogin{},
                  menuAction::Quit{}));
  press("Setup && Connectivity…");
  EXPECT_EQ(setups_, 1);
}

TEST_F(PopoverTest, disconnectsOnlyWhileThereIsAClient) {
  open(somePopover());
  EXPECT_EQ(visibleButton(*panel_, "Disconnect all devices"), nullptr);
  fill(withEverything());
  EXPECT_NE(visibleButton(*panel_, "Disconnect all devices"), nullptr);
}

TEST_F(PopoverTest, hidesRevokeAllWithoutPairedDevices) {
  open(withEverything());
  EXPECT_NE(visibleButton(*panel_, "Revoke all"), nullptr);
  fill(somePopover());
  EXPECT_EQ(visibleButton(*panel_, "Revoke all"), nullptr);
  EXPECT_TRUE(showsText(*panel_, "No paired devices yet"));
}

TEST_F(PopoverTest, showsTheHostsSettingsAndNotItsOwn) {
  PopoverSnapshot snapshot = somePopover();
  snapshot.startAtLogin = true;
  open(snapshot);
  QAbstractButton* login = visibleButton(*panel_, "Start at login");
  QAbstractButton* magnify = visibleButton(*panel_, "Map pinch zoom to ⌘-scroll");
  ASSERT_TRUE(login && magnify);
  EXPECT_TRUE(login->isChecked());
  magnify->click();
  EXPECT_FALSE(magnify->isChecked()) << "the host has not confirmed it";
  snapshot.magnifyAsCommandScroll = true;
  fill(snapshot);
  EXPECT_TRUE(magnify->isChecked());
}

TEST_F(PopoverTest, hidesAToggleThatThePlatformLacks) {
  PopoverSnapshot snapshot = somePopover();
  snapshot.canStartAtLogin = false;
  open(snapshot);
  EXPECT_EQ(visibleButton(*panel_, "Start at login"), nullptr);
}

TEST_F(PopoverTest, closesOnEscape) {
  open(somePopover());
  QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
  QApplication::sendEvent(panel_.get(), &escape);
  EXPECT_FALSE(panel_->isVisible());
  EXPECT_EQ(closes_, 1);
  EXPECT_EQ(outside_, std::nullopt);
}

TEST_F(PopoverTest, closesOnAClickOutsideAndSaysWhereItWas) {
  open(somePopover());
  clickAt({20, 20});
  EXPECT_TRUE(panel_->isVisible()) << "a click inside";
  clickAt({-40, 20});
  EXPECT_FALSE(panel_->isVisible());
  EXPECT_EQ(closes_, 1);
  EXPECT_EQ(outside_, panel_->mapToGlobal(QPoint(-40, 20)));
}

TEST_F(PopoverTest, isOperatedByKeyboardInItsOrder) {
  open(withEverything());
  panel_->activateWindow();
  std::vector<std::string> visited;
  QWidget* start = panel_->nextInFocusChain();
  for (QWidget* widget = start;;) {
    if (widget->isVisibleTo(panel_.get()) && (widget->focusPolicy() & Qt::TabFocus) != 0)
      visited.push_back(widget->accessibleName().isEmpty()
                            ? dynamic_cast<QAbstractButton*>(widget)->text().toStdString()
                            : widget->accessibleName().toStdString());
    widget = widget->nextInFocusChain();
    if (widget == start) break;
  }
  EXPECT_THAT(visited, ElementsAre("Disconnect all devices", "Grant Screen Recording", "Grant Accessibility",
                                   "Generate a new PIN", "Revoke all", "Map pinch zoom to ⌘-scroll",
                                   "Start at login", "Setup && Connectivity…", "Quit"));
  QAbstractButton* quit = visibleButton(*panel_, "Quit");
  quit->setFocus();
  QKeyEvent space(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier);
  QKeyEvent release(QEvent::KeyRelease, Qt::Key_Space, Qt::NoModifier);
  QApplication::sendEvent(quit, &space);
  QApplication::sendEvent(quit, &release);
  EXPECT_THAT(actions_, ElementsAre(menuAction::Quit{}));
}

TEST_F(PopoverTest, hasAnAccessibleNameOnEveryControl) {
  open(withEverything());
  std::set<std::string> names;
  for (QAbstractButton* button : panel_->findChildren<QAbstractButton*>()) {
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(button);
    ASSERT_NE(accessible, nullptr);
    EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty());
    names.insert(accessible->text(QAccessible::Name).toStdString());
  }
  EXPECT_TRUE(names.contains("Generate a new PIN"));
  EXPECT_TRUE(names.contains("Setup & Connectivity…"));
  std::set<std::string> all;
  for (QWidget* widget : panel_->findChildren<QWidget*>())
    if (auto* accessible = QAccessible::queryAccessibleInterface(widget))
      all.insert(accessible->text(QAccessible::Name).toStdString());
  EXPECT_TRUE(all.contains("Pairing PIN: 314159"));
  EXPECT_TRUE(all.contains("Status: orange"));
}

TEST_F(PopoverTest, isAsHighAsItsContent) {
  open(somePopover());
  const int plain = panel_->height();
  fill(withEverything());
  EXPECT_GT(panel_->height(), plain);
  for (QScrollBar* bar : panel_->findChildren<QScrollBar*>()) EXPECT_EQ(bar->maximum(), 0);
  fill(somePopover());
  EXPECT_EQ(panel_->height(), plain);
}

TEST_F(PopoverTest, scrollsInsteadOfLeavingTheScreen) {
  open(withEverything());
  panel_->fit(300);
  EXPECT_EQ(panel_->height(), 300);
}

TEST_F(PopoverTest, keepsItsWidthWithLongNamesAndManyClients) {
  PopoverSnapshot snapshot = withEverything();
  const std::string endless(100, 'W');
  snapshot.title = snapshot.statusLine = snapshot.reachability = snapshot.consoleSession = endless;
  snapshot.pin = endless;
  snapshot.clients.assign(100, {endless, endless});
  open(snapshot);
  EXPECT_EQ(panel_->width(), PopoverPanel::panelWidth);
  for (const QWidget* widget : panel_->findChildren<QWidget*>("header"))
    EXPECT_LE(widget->width(), panel_->width());
  EXPECT_LT(panel_->height(), 1100) << "the clients scroll";
  EXPECT_NE(visibleButton(*panel_, "Quit"), nullptr);
}

TEST_F(PopoverTest, updatesItsTextsInPlace) {
  PopoverSnapshot snapshot = withEverything();
  open(snapshot);
  visibleButton(*panel_, "Revoke all")->setFocus();
  QWidget* focused = panel_->focusWidget();
  snapshot.clients = {{"Pad", "10.0.0.2:1 · 4s"}};
  fill(snapshot);
  EXPECT_TRUE(showsText(*panel_, "10.0.0.2:1 · 4s"));
  EXPECT_EQ(panel_->focusWidget(), focused);
}

TEST_F(PopoverTest, showsNamesAsPlainText) {
  PopoverSnapshot snapshot = withEverything();
  snapshot.clients = {{"<b>Pad</b>", "<img src=x>"}};
  open(snapshot);
  EXPECT_TRUE(showsText(*panel_, "<b>Pad</b>"));
  for (const QLabel* label : panel_->findChildren<QLabel*>()) EXPECT_EQ(label->textFormat(), Qt::PlainText);
}

}  // namespace
}  // namespace quorl::test
