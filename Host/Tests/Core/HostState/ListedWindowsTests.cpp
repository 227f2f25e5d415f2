// SPDX-License-Identifier: GPL-3.0-or-later
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/HostState/ListedWindows.h>
#include <QuorlKit/Protocol/ControlMessage.h>
#include <QuorlKit/WireProtocol.h>

#include "HostStateContent.h"

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const std::set<std::int32_t> regular{10};

class ListedWindowsTest : public testing::Test {
 protected:
  std::vector<std::uint32_t> listed() const {
    std::vector<std::uint32_t> ids;
    for (const WindowInfo& info : listedWindows(content_, regular)) ids.push_back(info.id);
    return ids;
  }
  std::vector<RunningAppInfo> apps() const {
    return appsWithWindows(content_, listedWindows(content_, regular));
  }

  ShareableContent content_;
};

TEST_F(ListedWindowsTest, leavesOutAWindowWhoseTitleIsOnlyWhiteSpace) {
  content_.windows = {editorWindow(1, " \t\r\n"), editorWindow(2, ""), editorWindow(3, "\u00A0\u3000")};
  EXPECT_THAT(listed(), IsEmpty());
}

TEST_F(ListedWindowsTest, keepsTheSpacesAroundATitle) {
  content_.windows = {editorWindow(1, "  two words \n")};
  EXPECT_EQ(listedWindows(content_, regular).at(0).title, "  two words \n");
}

TEST_F(ListedWindowsTest, leavesOutAWindow119PointsWideAndKeepsOneOf120) {
  content_.windows = {editorWindow(1, "a", {119, 300}), editorWindow(2, "b", {120, 300}),
                      editorWindow(3, "c", {119.99, 300})};
  EXPECT_THAT(listed(), ElementsAre(2));
}

TEST_F(ListedWindowsTest, leavesOutAWindow79PointsHighAndKeepsOneOf80) {
  content_.windows = {editorWindow(1, "a", {400, 79}), editorWindow(2, "b", {400, 80})};
  EXPECT_THAT(listed(), ElementsAre(2));
}

TEST_F(ListedWindowsTest, keepsAWindowOf16000Points) {
  content_.windows = {editorWindow(1, "a", {16'000, 16'000}), editorWindow(2, "b", {1, 1})};
  EXPECT_THAT(listed(), ElementsAre(1));
}

TEST_F(ListedWindowsTest, leavesOutAFrameThatIsNotFinite) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  content_.windows = {editorWindow(1, "a", {infinity, 300}), editorWindow(2, "b", {400, nan}),
                      editorWindow(3, "c")};
  content_.windows[2].frame.origin.x = nan;
  EXPECT_THAT(listed(), IsEmpty()) << "JSON cannot carry it";
}

TEST_F(ListedWindowsTest, leavesOutPanelsAndTheDesktopByTheirLayer) {
  content_.windows = {editorWindow(1, "panel"), editorWindow(2, "desktop"), editorWindow(3, "document")};
  content_.windows[0].layer = 25;
  content_.windows[1].layer = -2'147'483'603;
  EXPECT_THAT(listed(), ElementsAre(3));
}

TEST_F(ListedWindowsTest, leavesOutTheWindowsAndTheApplicationOfAnAccessory) {
  content_.applications = {{"org.example.helper", "Helper", 11}, {"org.example.editor", "Editor", 10}};
  content_.windows = {editorWindow(1, "helper"), editorWindow(2, "document")};
  content_.windows[0].pid = 11;
  content_.windows[0].bundleID = "org.example.helper";
  EXPECT_THAT(listed(), ElementsAre(2));
  ASSERT_EQ(apps().size(), 1U);
  EXPECT_EQ(apps()[0].name, "Editor");
}

TEST_F(ListedWindowsTest, leavesOutAWindowWithoutAKnownProcess) {
  content_.windows = {editorWindow(1, "a"), editorWindow(2, "b")};
  content_.windows[0].pid = 0;
  content_.windows[1].pid = -10;
  EXPECT_THAT(listed(), IsEmpty());
  EXPECT_THAT(listedWindows(content_, std::nullopt), IsEmpty());
}

TEST_F(ListedWindowsTest, takesEveryProcessWhereThePlatformCannotListApplications) {
  content_.windows = {editorWindow(1, "a")};
  content_.windows[0].pid = 77;
  EXPECT_EQ(listedWindows(content_, std::nullopt).size(), 1U);
}

TEST_F(ListedWindowsTest, listsWindowsOnTheScreenFirstAndElseInTheOrderOfTheContent) {
  content_.windows = {editorWindow(1, "a"), editorWindow(2, "b"), editorWindow(3, "c"), editorWindow(4, "d")};
  content_.windows[0].isOnScreen = false;
  content_.windows[2].isOnScreen = false;
  EXPECT_THAT(listed(), ElementsAre(2, 4, 1, 3));
}

TEST_F(ListedWindowsTest, countsTheListedWindowsOfEachApplication) {
  content_.applications = {{"org.example.idle", "Idle", 9}, {"org.example.editor", "Editor", 10}};
  content_.windows = {editorWindow(1, "a"), editorWindow(2, "b"), editorWindow(3, "small", {10, 10})};
  const auto found = apps();
  ASSERT_EQ(found.size(), 1U) << "an application without windows is left out";
  EXPECT_EQ(found[0], (RunningAppInfo{"org.example.editor", "Editor", 10, 2, std::nullopt}));
}

TEST_F(ListedWindowsTest, countsNoWindowWithoutABundleIdentifier) {
  content_.applications = {{"", "Nameless", 10}};
  content_.windows = {editorWindow(1, "a")};
  content_.windows[0].bundleID = "";
  EXPECT_EQ(listedWindows(content_, regular).at(0).appBundleID, std::nullopt);
  EXPECT_THAT(apps(), IsEmpty());
}

TEST_F(ListedWindowsTest, listsApplicationsInTheOrderOfTheContent) {
  content_.applications = {{"z", "Z", 10}, {"a", "A", 10}, {"m", "M", 10}};
  for (const char* bundleID : {"a", "m", "z"}) {
    content_.windows.push_back(editorWindow(1, bundleID));
    content_.windows.back().bundleID = bundleID;
  }
  std::vector<std::string> order;
  for (const RunningAppInfo& app : apps()) order.push_back(app.bundleID);
  EXPECT_THAT(order, ElementsAre("z", "a", "m"));
}

TEST_F(ListedWindowsTest, cutsTitlesOfMegabytesSoThatTheStateFitsInAFrame) {
  // Control characters take six bytes each in JSON.
  content_.applications = {{"org.example.editor", std::string(1'000'000, 'n'), 10}};
  for (std::uint32_t windowID = 1; windowID <= 300; ++windowID) {
    content_.windows.push_back(editorWindow(windowID, std::string(100'000, '\x01')));
    content_.windows.back().appName = std::string(100'000, '\x02');
  }
  HostState state;
  state.windows = listedWindows(content_, regular);
  state.apps = appsWithWindows(content_, state.windows);
  EXPECT_EQ(state.windows.at(0).title.size(), maxTitleBytes);
  EXPECT_EQ(state.apps.at(0).name.size(), maxTitleBytes);
  const auto encoded = ControlCoder::encode(message::HostState{state});
  ASSERT_TRUE(encoded.has_value());
  EXPECT_LT(encoded->size(), WireProtocol::maxFrameLength);
}

TEST_F(ListedWindowsTest, cutsATitleBetweenTwoCharacters) {
  content_.windows = {editorWindow(1, "a" + std::string(maxTitleBytes - 2, 'b') + "é")};
  EXPECT_EQ(listedWindows(content_, regular).at(0).title.size(), maxTitleBytes - 1);
}

}  // namespace
}  // namespace quorl::test
