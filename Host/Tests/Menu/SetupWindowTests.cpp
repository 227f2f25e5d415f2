// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cmath>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QAccessible>
#include <QApplication>
#include <QLabel>

#include "Linux/System/ChildProgram.h"
#include "QrCode.h"
#include "SetupWindow.h"
#include "Support/TemporaryFolder.h"
#include "Theme.h"
#include "WindowFixture.h"

namespace quorl::test {
namespace {

using testing::ElementsAre;

class SetupWindowTest : public testing::Test {
 protected:
  SetupWindowTest()
      : window_({.act = [this](const MenuAction& action) { actions_.push_back(action); },
                 .open = [this](const std::string& url) { opened_.push_back(url); },
                 .copy = [this](const QString& text) { copied_.push_back(text.toStdString()); },
                 .closed = [this] { ++closes_; }}) {}

  void fill(const SetupSnapshot& snapshot) {
    window_.fill(snapshot);
    window_.show();
    settle();
  }

  std::vector<MenuAction> actions_;
  std::vector<std::string> opened_;
  std::vector<std::string> copied_;
  int closes_ = 0;
  SetupWindow window_;
};

/// What zbarimg reads in a picture.
std::string readBack(const QPixmap& picture) {
  TemporaryFolder folder;
  picture.save(QString::fromStdString(folder.file("code.png")));
  ChildProgram reader(
      {"zbarimg", "--quiet", "--raw", "-Sdisable", "-Sqrcode.enable", folder.file("code.png")});
  reader.waitForExit();
  std::string text = reader.output();
  while (text.ends_with('\n')) text.pop_back();
  return text.substr(text.rfind('\n') + 1);  // a machine without a system bus gets a warning before
}

TEST_F(SetupWindowTest, showsItsCardsInOrder) {
  fill(someSetup());
  std::vector<std::string> cards;
  for (const std::string& text : visibleTexts(window_))
    if (window_.findChild<QWidget*>(QString::fromStdString(text)) != nullptr) cards.push_back(text);
  EXPECT_THAT(cards, ElementsAre("OVERLAY NETWORK", "HOW TO REACH THIS MAC", "SCAN TO JOIN", "PAIRING PIN",
                                 "PERMISSIONS", "CONNECTED CLIENTS"));
  EXPECT_EQ(window_.windowTitle(), "Setup & Connectivity");
  EXPECT_EQ(window_.size(), QSize(460, 680));
}

TEST_F(SetupWindowTest, showsAllTexts) {
  fill(someSetup());
  for (const char* text :
       {"LAN only — no overlay installed", "workbench", "Overlay IPs", "—", "LAN IPs", "192.168.1.5", "Ports",
        "session 47900 · relay 47901",
        "Open Quorl on your iPhone or iPad and scan this to auto-fill the address.", "314159", "Regenerate",
        "Enter this PIN on the client the first time it pairs.", "Screen Recording", "Granted",
        "Accessibility", "Not granted", "No clients connected."})
    EXPECT_TRUE(showsText(window_, text)) << text;
}

TEST_F(SetupWindowTest, hidesTheGuidanceAndTheButtonThatAreAbsent) {
  SetupSnapshot snapshot = someSetup();
  snapshot.overlayGuidance = "Open Tailscale and sign in";
  snapshot.overlayAction = OverlayAction{"Open Tailscale", "tailscale:"};
  fill(snapshot);
  EXPECT_TRUE(showsText(window_, "Open Tailscale and sign in"));
  visibleButton(window_, "Open Tailscale")->click();
  EXPECT_THAT(opened_, ElementsAre("tailscale:"));
  fill(someSetup());
  EXPECT_FALSE(showsText(window_, "Open Tailscale and sign in"));
  EXPECT_EQ(visibleButton(window_, "Open Tailscale"), nullptr);
}

TEST_F(SetupWindowTest, opensNothingWithoutAURL) {
  SetupSnapshot snapshot = someSetup();
  snapshot.overlayAction = OverlayAction{"Install Tailscale", ""};
  fill(snapshot);
  visibleButton(window_, "Install Tailscale")->click();
  EXPECT_TRUE(opened_.empty());
}

TEST_F(SetupWindowTest, copiesTheAddress) {
  fill(someSetup());
  visibleButton(window_, "Copy")->click();
  EXPECT_THAT(copied_, ElementsAre("workbench"));
}

TEST_F(SetupWindowTest, leavesTheImageAloneWhileThePayloadStaysTheSame) {
  SetupSnapshot snapshot = someSetup();
  fill(snapshot);
  const auto key = window_.qrView().image().cacheKey();
  snapshot.pin = "271828";
  fill(snapshot);
  EXPECT_EQ(window_.qrView().image().cacheKey(), key);
  snapshot.joinPayload += "x";
  fill(snapshot);
  EXPECT_NE(window_.qrView().image().cacheKey(), key);
}

TEST_F(SetupWindowTest, showsACodeThatReadsBackAsThePayload) {
  ASSERT_TRUE(hasProgram("zbarimg"));
  for (const std::string& payload :
       {someSetup().joinPayload,
        std::string("quorl://join?host=a-workbench-with-a-very-long-name.tailnet-of-a-company.ts.net"
                    "&port=47900&name=Anna's%20Mac%20%26%20S%C3%B6hne")}) {
    SetupSnapshot snapshot = someSetup();
    snapshot.joinPayload = payload;
    fill(snapshot);
    for (const Shade shade : {Shade::light, Shade::dark}) {
      Theme::use(shade, *qApp);
      EXPECT_EQ(readBack(window_.grab()), payload);
    }
    Theme::use(Shade::light, *qApp);
  }
}

TEST(QrImage, hasTenPixelsPerModuleAndAQuietZone) {
  const QImage image = qrImage("quorl");
  EXPECT_EQ(image.width(), (21 + 8) * 10) << "version 1";
  EXPECT_EQ(image.pixel(39, 39), qRgb(255, 255, 255));
  EXPECT_EQ(image.pixel(40, 40), qRgb(0, 0, 0)) << "the first finder pattern, without blurred edges";
  EXPECT_EQ(image.pixel(109, 40), qRgb(0, 0, 0));
  EXPECT_EQ(image.pixel(110, 40), qRgb(255, 255, 255));
}

TEST(QrImage, isMissingForATextThatIsTooLong) {
  EXPECT_TRUE(qrImage(std::string(5000, 'x')).isNull());
}

TEST_F(SetupWindowTest, offersOnlyPermissionsThatAreMissing) {
  fill(someSetup());
  EXPECT_EQ(visibleButton(window_, "Grant Screen Recording"), nullptr);
  visibleButton(window_, "Grant Accessibility")->click();
  EXPECT_THAT(actions_, ElementsAre(menuAction::RequestPermission{MenuPermission::accessibility}));
  SetupSnapshot snapshot = someSetup();
  snapshot.permissions[1].canRequest = false;
  snapshot.permissions[1].obstacle = "There is no display.";
  snapshot.permissionLimitation = "This is a Wayland session.";
  fill(snapshot);
  EXPECT_EQ(visibleButton(window_, "Grant Accessibility"), nullptr);
  EXPECT_TRUE(showsText(window_, "There is no display."));
  EXPECT_TRUE(showsText(window_, "This is a Wayland session."));
}

TEST_F(SetupWindowTest, showsThePINWithoutScrollingWhenThereIsNoOverlay) {
  SetupSnapshot snapshot = someSetup();
  snapshot.overlayGuidance = "Install Tailscale to reach this Mac from anywhere";
  snapshot.overlayAction = OverlayAction{"Install Tailscale", "https://example.org"};
  fill(snapshot);
  const auto* card = window_.findChild<QWidget*>("PAIRING PIN");
  ASSERT_NE(card, nullptr);
  EXPECT_EQ(card->visibleRegion().boundingRect(), card->rect());
}

TEST_F(SetupWindowTest, followsAChangeOfTheTheme) {
  fill(someSetup());
  const auto colours = [&](const char* name) {
    const auto* label = window_.findChild<QLabel*>(name);
    return label->palette().color(QPalette::WindowText);
  };
  for (auto* label : window_.findChildren<QLabel*>()) label->setObjectName(label->text());
  const QImage light = window_.grab().toImage();
  Theme::use(Shade::dark, *qApp);
  settle();
  EXPECT_EQ(colours("Overlay IPs"), Theme::of(Shade::dark).secondary);
  EXPECT_EQ(colours("192.168.1.5"), Theme::of(Shade::dark).text);
  EXPECT_EQ(colours("Granted"), Theme::of(Shade::dark).green);
  const QImage dark = window_.grab().toImage();
  EXPECT_EQ(dark.pixelColor(2, 2), Theme::of(Shade::dark).window);
  Theme::use(Shade::light, *qApp);
  settle();
  EXPECT_EQ(window_.grab().toImage(), light) << "nothing of the dark theme is left";
}

TEST_F(SetupWindowTest, regeneratesThePIN) {
  fill(someSetup());
  visibleButton(window_, "Regenerate")->click();
  EXPECT_THAT(actions_, ElementsAre(menuAction::RegeneratePIN{}));
}

TEST_F(SetupWindowTest, reportsThatItWasClosedAndCanBeShownAgain) {
  fill(someSetup());
  window_.close();
  EXPECT_EQ(closes_, 1);
  fill(someSetup());
  EXPECT_TRUE(window_.isVisible());
}

TEST_F(SetupWindowTest, hasAccessibleNames) {
  fill(someSetup());
  const auto nameOf = [](QWidget* widget) {
    return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
  };
  for (QAbstractButton* button : window_.findChildren<QAbstractButton*>()) {
    if (!button->isVisible()) continue;
    EXPECT_FALSE(nameOf(button).isEmpty());
  }
  EXPECT_EQ(nameOf(window_.findChild<QWidget*>("PERMISSIONS")), "PERMISSIONS");
}

double luminance(const QColor& color) {
  const auto part = [](double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * part(color.redF()) + 0.7152 * part(color.greenF()) + 0.0722 * part(color.blueF());
}

// WCAG 2.1, "contrast ratio".
double contrast(const QColor& one, const QColor& other) {
  const double lighter = std::max(luminance(one), luminance(other));
  const double darker = std::min(luminance(one), luminance(other));
  return (lighter + 0.05) / (darker + 0.05);
}

TEST(Theme, hasReadableTextsInBothShades) {
  for (const Shade shade : {Shade::light, Shade::dark}) {
    const Theme& theme = Theme::of(shade);
    for (const QColor& background : {theme.window, theme.card})
      for (const QColor& text : {theme.text, theme.secondary, theme.green, theme.red, theme.accent})
        EXPECT_GE(contrast(text, background), 4.5) << text.name().toStdString();
  }
}

}  // namespace
}  // namespace quorl::test
