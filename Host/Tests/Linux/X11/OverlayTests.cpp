// SPDX-License-Identifier: GPL-3.0-or-later
// Menus, tooltips and dialogs in the picture of the window that they lie over.
#include <QuorlHostLinux/X11/Capture/WindowOwner.h>

#include "WindowCaptureFixture.h"

namespace quorl::test {
namespace {

class Overlays : public WindowCaptureFixture {
 protected:
  std::uint32_t makeDialog(const PixelRect& bounds, std::uint32_t parent, std::uint32_t color) {
    const auto dialog = client.makeWindow(bounds, TestClient::Managed::yes);
    client.unmap(dialog);
    if (parent != 0) client.setNumbers(dialog, "WM_TRANSIENT_FOR", XCB_ATOM_WINDOW, {parent});
    client.setBackground(dialog, color);
    client.map(dialog);
    return dialog;
  }
};

TEST_F(Overlays, showAMenuWhileItIsOpen) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  ASSERT_TRUE(nowShows(80, 60, blue));
  const auto menu = makeRedMenu({150, 140, 60, 40});
  EXPECT_TRUE(nowShows(80, 60, red));
  const auto picture = deliveries.all().back();
  EXPECT_LE(distance(colorAt(*picture.image, 48, 60), blue), 4);
  EXPECT_LE(distance(colorAt(*picture.image, 112, 60), blue), 4);
  client.fill(menu, {0, 0, 60, 40}, green);
  EXPECT_TRUE(nowShows(80, 60, green));
  client.unmap(menu);
  EXPECT_TRUE(nowShows(80, 60, blue));
  client.map(menu);
  EXPECT_TRUE(nowShows(80, 60, red));
  client.destroy(menu);
  EXPECT_TRUE(nowShows(80, 60, blue));
}

TEST_F(Overlays, showAMenuThatWasOpenBeforeTheStream) {
  const auto window = makeBlueWindow();
  makeRedMenu({150, 140, 60, 40});
  const auto stream = start(window);
  EXPECT_TRUE(shows(80, 60, red));
  EXPECT_TRUE(nowShows(20, 20, blue));
}

TEST_F(Overlays, areClippedToTheWindow) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  makeRedMenu({280, 230, 300, 300});
  EXPECT_TRUE(nowShows(190, 140, red));
  const auto picture = deliveries.all().back();
  EXPECT_EQ(picture.image->size, (PixelSize{200, 150}));
  EXPECT_LE(distance(colorAt(*picture.image, 170, 120), blue), 4);
}

TEST_F(Overlays, neverShowAnotherProgramsMenu) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  const auto other = server.start({"xlogo", "-geometry", "60x40+150+140", "-xrm", "*overrideRedirect: True"});
  ASSERT_TRUE(eventually([&] { return client.read({152, 142, 1, 1}).front() != blue; }));
  makeRedMenu({120, 120, 10, 10});
  ASSERT_TRUE(nowShows(25, 25, red));
  client.fill(window, {0, 0, 200, 150}, green);
  ASSERT_TRUE(nowShows(10, 10, green));
  const auto picture = deliveries.all().back();
  for (int x = 50; x < 110; x += 3) {
    EXPECT_LE(distance(colorAt(*picture.image, x, 60), green), 4) << x;
  }
}

TEST_F(Overlays, showADialogOfTheWindowAndOfItsDialogs) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  const auto dialog = makeDialog({120, 120, 100, 100}, window, red);
  EXPECT_TRUE(nowShows(25, 25, red));
  makeDialog({200, 200, 60, 30}, dialog, green);
  EXPECT_TRUE(nowShows(105, 105, green));
}

TEST_F(Overlays, leaveOutAnotherOrdinaryWindowOfTheSameProgram) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  makeDialog({120, 120, 100, 100}, 0, red);
  makeRedMenu({100, 100, 10, 10});
  ASSERT_TRUE(nowShows(5, 5, red));
  EXPECT_LE(distance(colorAt(*deliveries.all().back().image, 50, 50), blue), 4);
}

TEST_F(Overlays, followAMenuThatMovesAndAWindowThatMovesUnderIt) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  const auto menu = makeRedMenu({150, 140, 60, 40});
  ASSERT_TRUE(nowShows(80, 60, red));
  client.moveResize(menu, {110, 110, 30, 20});
  EXPECT_TRUE(nowShows(80, 60, blue));
  EXPECT_TRUE(nowShows(25, 20, red));
  client.moveResize(window, {90, 90, 200, 150});
  EXPECT_TRUE(nowShows(45, 35, red));
  EXPECT_TRUE(nowShows(15, 15, blue));
}

TEST_F(Overlays, followTheStackingOrder) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  const auto menu = makeRedMenu({150, 140, 60, 40});
  ASSERT_TRUE(nowShows(80, 60, red));
  client.lower(menu);
  EXPECT_TRUE(nowShows(80, 60, blue));
  client.raise(menu);
  EXPECT_TRUE(nowShows(80, 60, red));
  client.setBackground(client.makeWindow({170, 150, 100, 60}), green);
  EXPECT_TRUE(nowShows(80, 60, green));
  client.raise(menu);
  EXPECT_TRUE(nowShows(80, 60, red));
}

TEST_F(Overlays, areBlendedWhereTheyAreTransparent) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  client.makeTransparentWindow({150, 140, 60, 40}, 0x80800000);
  EXPECT_TRUE(nowShows(80, 60, 0x80007F));
}

TEST_F(Overlays, keepTheirShape) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  const auto menu = client.makeWindow({150, 140, 60, 40});
  client.unmap(menu);
  client.setShape(menu, {20, 10, 20, 20});
  client.setBackground(menu, red);
  client.map(menu);
  EXPECT_TRUE(nowShows(80, 60, red));
  EXPECT_LE(distance(colorAt(*deliveries.all().back().image, 58, 45), blue), 4);
}

TEST_F(Overlays, believeOnlyTheServerThatAMenuWasUnmapped) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  const auto menu = makeRedMenu({150, 140, 60, 40});
  ASSERT_TRUE(nowShows(80, 60, red));
  client.claimUnmapped(menu);
  client.fill(menu, {0, 0, 60, 40}, green);
  ASSERT_TRUE(nowShows(80, 60, green));
  client.claimUnmapped(window);
  client.fill(window, {0, 0, 20, 20}, red);
  EXPECT_TRUE(nowShows(10, 10, red));
}

TEST_F(Overlays, areUnderTheCursor) {
  const auto window = makeBlueWindow();
  client.setBlockCursor(8, white);
  client.movePointer(160, 150);
  const auto stream = start(window, true);
  ASSERT_TRUE(nowShows(63, 53, white));
  makeRedMenu({150, 140, 60, 40});
  EXPECT_TRUE(nowShows(80, 60, red));
  EXPECT_TRUE(nowShows(63, 53, white));
  client.movePointer(180, 160);
  EXPECT_TRUE(nowShows(83, 63, white));
  EXPECT_TRUE(nowShows(63, 53, red));
  client.moveResize(window, {110, 110, 200, 150});
  EXPECT_TRUE(nowShows(73, 53, white));
}

TEST_F(Overlays, costNothingWhileTheyAreStill) {
  const auto window = makeBlueWindow();
  const auto stream = start(window);
  makeRedMenu({150, 140, 60, 40});
  ASSERT_TRUE(nowShows(80, 60, red));
  // Time passes while another server starts.
  EXPECT_TRUE(eventually([&] {
    const auto wakeups = harness.capture.captureWakeups();
    const XServer other{{.width = 320, .height = 240}};
    return harness.capture.captureWakeups() == wakeups;
  }));
}

constexpr std::uint32_t root = 1;
constexpr ClientWindow shownWindow{.window = 10, .pid = 100, .leader = 5};
constexpr ClientWindow loneWindow{.window = 10};

struct Kinship {
  const char* what;
  ClientWindow shown;
  WindowOwner other;
  bool belongs;
};

const std::vector<Kinship> kinships = {
    {"a menu of the process", shownWindow, {true, true, 0, {.window = 20, .pid = 100}}, true},
    {"a menu of the group", shownWindow, {true, true, 0, {.window = 20, .pid = 7, .leader = 5}}, true},
    {"a menu of another process", shownWindow, {true, true, 0, {.window = 20, .pid = 7, .leader = 6}}, false},
    {"a menu without a process", loneWindow, {true, true, 0, {.window = 20}}, false},
    {"another window of the process", shownWindow, {true, false, 0, {.window = 20, .pid = 100}}, false},
    {"a dialog", shownWindow, {true, false, 0, {.window = 20, .pid = 100, .transientFor = 10}}, true},
    {"a helper's dialog", shownWindow, {true, false, 0, {.window = 20, .pid = 7, .transientFor = 10}}, true},
    {"a dialog's dialog", shownWindow, {true, false, 0, {.window = 20, .pid = 7, .transientFor = 30}}, true},
    {"a dialog of another window", shownWindow, {true, false, 0, {.window = 20, .transientFor = 40}}, false},
    {"a group's dialog",
     shownWindow,
     {true, false, 0, {.window = 20, .leader = 5, .transientFor = root}},
     true},
    {"another group's dialog",
     shownWindow,
     {true, false, 0, {.window = 20, .leader = 6, .transientFor = root}},
     false},
    {"a circle of dialogs", shownWindow, {true, false, 0, {.window = 50, .transientFor = 51}}, false},
    {"a window that draws nothing", shownWindow, {false, true, 0, {.window = 20, .pid = 100}}, false},
    {"itself", shownWindow, {true, true, 0, shownWindow}, false},
};

TEST(WindowKinship, distinguishesMenusAndDialogsOfAWindowFromOthers) {
  const std::vector<ClientWindow> known = {{.window = 30, .transientFor = 10},
                                           {.window = 40},
                                           {.window = 50, .transientFor = 51},
                                           {.window = 51, .transientFor = 50}};
  const auto find = [&](std::uint32_t window) -> const ClientWindow* {
    const auto found = std::ranges::find(known, window, &ClientWindow::window);
    return found == known.end() ? nullptr : &*found;
  };
  for (const auto& each : kinships) {
    EXPECT_EQ(belongsOver(each.shown, each.other, root, find), each.belongs) << each.what;
  }
}

}  // namespace
}  // namespace quorl::test
