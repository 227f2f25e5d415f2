// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostCore/Menu/Model/LineBuffer.h>
#include <QuorlHostCore/Menu/Model/MenuMessages.h>
#include <QuorlHostCore/Menu/Model/PanelPlace.h>

namespace quorl::test {
namespace {

MenuSnapshot fullSnapshot() {
  MenuSnapshot snapshot;
  snapshot.popover.emplace();
  snapshot.popover->title = "Quorl · \n\"ü\"";
  snapshot.popover->missingPermissions = {{.title = "Screen Recording"}};
  snapshot.popover->clients = {{"Pad", "here"}};
  snapshot.setup.emplace();
  snapshot.setup->overlayAction = OverlayAction{"Install", "https://example.org"};
  snapshot.setup->permissions = {{.title = "Accessibility"}};
  return snapshot;
}

TEST(MenuMessages, areOneLineEachAndReadBack) {
  const MenuMessage message = menuMessage::Snapshot{fullSnapshot()};
  std::string line = menuLine(message);
  ASSERT_TRUE(line.ends_with('\n'));
  line.pop_back();
  EXPECT_EQ(line.find('\n'), std::string::npos);
  EXPECT_EQ(parseMenuMessage(line), message);
}

TEST(MenuMessages, haveReadableActions) {
  EXPECT_EQ(menuLine(MenuAction(menuAction::PanelOpened{})), "{\"panelOpened\":{}}\n");
  EXPECT_EQ(menuLine(MenuAction(menuAction::SetupShown{true})), "{\"setupShown\":{\"visible\":true}}\n");
  EXPECT_EQ(menuLine(MenuAction(menuAction::RequestPermission{MenuPermission::accessibility})),
            "{\"requestPermission\":{\"_0\":\"accessibility\"}}\n");
  EXPECT_EQ(parseMenuAction("{\"quit\":{}}"), MenuAction(menuAction::Quit{}));
}

TEST(MenuMessages, areRejectedUnlessTheyAreExactlyOneKnownText) {
  for (const std::string_view line :
       {"", "quit", "{}", "{\"quit\":{},\"ready\":{}}", "{\"quit\":{}}x", "{\"unknown\":{}}", "[1]",
        "{\"requestPermission\":{\"_0\":\"camera\"}}", "{\"setupShown\":{}}", "\xff"})
    EXPECT_EQ(parseMenuAction(line), std::nullopt) << line;
  EXPECT_EQ(parseMenuMessage("{\"snapshot\":{}}"), std::nullopt);
}

TEST(LineBuffer, cutsLinesWhereverTheReadsEnd) {
  LineBuffer buffer;
  buffer.append("one\ntw");
  EXPECT_EQ(buffer.next(), "one");
  EXPECT_EQ(buffer.next(), std::nullopt);
  buffer.append("o\n\nthree\n");
  EXPECT_EQ(buffer.next(), "two");
  EXPECT_EQ(buffer.next(), "");
  EXPECT_EQ(buffer.next(), "three");
  EXPECT_EQ(buffer.next(), std::nullopt);
}

TEST(LineBuffer, givesUpOnALineThatIsTooLong) {
  LineBuffer buffer;
  buffer.append("first\n" + std::string(LineBuffer::maxLength + 1, 'x'));
  EXPECT_EQ(buffer.next(), "first");
  EXPECT_FALSE(buffer.hasOverflowed());
  EXPECT_EQ(buffer.next(), std::nullopt);
  EXPECT_TRUE(buffer.hasOverflowed());
  buffer.append("\nlater\n");
  EXPECT_EQ(buffer.next(), std::nullopt);
}

constexpr PanelSurroundings topBar{{{0, 0}, {1280, 720}}, {{0, 24}, {1280, 696}}};

TEST(PanelPlace, isCentredUnderTheIcon) {
  EXPECT_EQ(panelPlace({320, 400}, {{600, 0}, {24, 24}}, topBar), (PointXY{452, 30}));
}

TEST(PanelPlace, staysWithinTheVisiblePart) {
  EXPECT_EQ(panelPlace({320, 400}, {{1250, 0}, {24, 24}}, topBar), (PointXY{952, 30}));
  EXPECT_EQ(panelPlace({320, 400}, {{0, 0}, {24, 24}}, topBar), (PointXY{8, 30}));
  EXPECT_EQ(panelPlace({320, 400}, {{600, 340}, {24, 24}}, topBar), (PointXY{452, 314})) << "it fits";
  EXPECT_EQ(panelPlace({2000, 900}, {{600, 700}, {24, 24}}, topBar), (PointXY{8, 24}));
}

TEST(PanelPlace, risesFromAPanelAtTheBottom) {
  const PanelSurroundings bottomBar{{{0, 0}, {1280, 720}}, {{0, 0}, {1280, 690}}};
  EXPECT_EQ(panelPlace({320, 400}, {{1100, 692}, {24, 24}}, bottomBar), (PointXY{952, 284}));
}

TEST(PanelPlace, doesNotCoverAnIconWithinTheVisiblePart) {
  const PanelSurroundings noStruts{{{0, 0}, {1280, 720}}, {{0, 0}, {1280, 720}}};
  EXPECT_EQ(panelPlace({320, 400}, {{600, 2}, {24, 24}}, noStruts), (PointXY{452, 32}));
  EXPECT_EQ(panelPlace({320, 400}, {{600, 692}, {24, 24}}, noStruts), (PointXY{452, 286}));
}

TEST(PanelPlace, isAbsentForAPanelWithoutASize) {
  EXPECT_EQ(panelPlace({10, 400}, {{600, 0}, {24, 24}}, topBar), std::nullopt);
  EXPECT_EQ(panelPlace({400, 0}, {{600, 0}, {24, 24}}, topBar), std::nullopt);
}

TEST(PanelPlace, assumesTheIconAtTheRightOfTheMenuBar) {
  EXPECT_EQ(fallbackAnchor(topBar.screen, std::nullopt), (PointRect{{1180, 0}, {30, 22}}));
  EXPECT_EQ(fallbackAnchor(std::nullopt, std::nullopt), (PointRect{{700, 0}, {30, 22}}));
  EXPECT_EQ(fallbackAnchor(topBar.screen, PointXY{1000, 710}), (PointRect{{985, 699}, {30, 22}}));
  EXPECT_EQ(fallbackAnchor(topBar.screen, PointXY{640, 360}), (PointRect{{1180, 0}, {30, 22}}))
      << "there is no bar";
}

}  // namespace
}  // namespace quorl::test
