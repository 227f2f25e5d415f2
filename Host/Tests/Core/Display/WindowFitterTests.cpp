// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/WindowFitter.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Support/FakeWindowControl.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;

class WindowFitterTest : public testing::Test {
 protected:
  FakeWindowControl::Entry& add(std::uint32_t windowID, const std::string& title, PointRect frame,
                                std::int32_t pid = 42) {
    FakeWindowControl::Entry entry;
    entry.windowID = windowID;
    entry.pid = pid;
    entry.title = title;
    entry.frame = frame;
    windows_.entries.push_back(entry);
    return windows_.entries.back();
  }
  /// The ID of the window that was found; 0 for none.
  std::uint32_t found(const std::string& title, const std::optional<PointRect>& target) {
    const auto window = fitter_.findAXWindow(42, title, target);
    if (!window) return 0;
    windows_.calls.clear();
    window->setPosition({-7, -7});
    for (const auto& entry : windows_.entries)
      if (entry.frame.origin == PointXY{-7, -7}) return entry.windowID;
    return 0;
  }

  FakeWindowControl windows_;
  WindowFitter fitter_{windows_};
};

TEST_F(WindowFitterTest, readsTheFrameOfAWindowUnlessItIsGone) {
  add(1, "a", {{10, 20}, {300, 200}});
  EXPECT_EQ(fitter_.windowFrame(1), (PointRect{{10, 20}, {300, 200}}));
  EXPECT_EQ(fitter_.windowFrame(2), std::nullopt);
}

TEST_F(WindowFitterTest, prefersASmallOnScreenWindowToALargeHiddenOne) {
  add(1, "hidden", {{0, 0}, {1000, 800}}).isOnScreen = false;
  add(2, "shown", {{0, 0}, {100, 60}});
  const auto front = fitter_.frontWindow(42);
  ASSERT_TRUE(front);
  EXPECT_EQ(front->windowID, 2U);
  EXPECT_EQ(front->title, "shown");
  EXPECT_TRUE(front->isOnScreen);
}

TEST_F(WindowFitterTest, prefersTheLargerFrontWindowAndThenTheEarlierOne) {
  add(1, "small", {{0, 0}, {200, 100}});
  add(2, "wide", {{0, 0}, {400, 100}});
  add(3, "high", {{0, 0}, {100, 400}});
  EXPECT_EQ(fitter_.frontWindow(42)->windowID, 2U);
}

TEST_F(WindowFitterTest, ignoresNarrowLowForeignAndLayeredFrontWindows) {
  add(1, "narrow", {{0, 0}, {99, 500}});
  add(2, "low", {{0, 0}, {500, 59}});
  add(3, "foreign", {{0, 0}, {500, 500}}, 43);
  add(4, "panel", {{0, 0}, {500, 500}}).layer = 3;
  EXPECT_FALSE(fitter_.frontWindow(42));
  add(5, "ordinary", {{0, 0}, {100, 60}});
  EXPECT_EQ(fitter_.frontWindow(42)->windowID, 5U);
}

TEST_F(WindowFitterTest, matchesAFrameSevenPointsOffWhateverTheTitle) {
  add(1, "wanted", {{500, 500}, {300, 200}});
  add(2, "other", {{12, 22}, {302, 201}});  // 2 + 2 + 2 + 1
  EXPECT_EQ(found("wanted", PointRect{{10, 20}, {300, 200}}), 2U);
}

TEST_F(WindowFitterTest, goesByTheTitleForAFrameEightPointsOff) {
  add(1, "other", {{12, 22}, {302, 202}});  // 2 + 2 + 2 + 2
  add(2, "wanted", {{500, 500}, {300, 200}});
  EXPECT_EQ(found("wanted", PointRect{{10, 20}, {300, 200}}), 2U);
}

TEST_F(WindowFitterTest, matchesTheClosestFrameAndTheFirstOfEquals) {
  add(1, "", {{13, 20}, {300, 200}});
  add(2, "", {{10, 21}, {300, 200}});
  add(3, "", {{10, 20}, {301, 200}});
  EXPECT_EQ(found("", PointRect{{10, 20}, {300, 200}}), 2U);
}

TEST_F(WindowFitterTest, takesTheFocusedWindowWithoutATitle) {
  add(1, "a", {{0, 0}, {300, 200}});
  add(2, "b", {{0, 0}, {300, 200}});
  windows_.focused[42] = 2;
  windows_.main[42] = 1;
  EXPECT_EQ(found("", std::nullopt), 2U);
}

TEST_F(WindowFitterTest, takesTheMainWindowWithoutATitleAndFocus) {
  add(1, "a", {{0, 0}, {300, 200}});
  add(2, "b", {{0, 0}, {300, 200}});
  windows_.main[42] = 2;
  EXPECT_EQ(found("", std::nullopt), 2U);
}

TEST_F(WindowFitterTest, takesTheFirstWindowWithTheTitle) {
  add(1, "a", {{0, 0}, {300, 200}});
  add(2, "b", {{0, 0}, {300, 200}});
  add(3, "b", {{0, 0}, {300, 200}});
  windows_.focused[42] = 3;
  EXPECT_EQ(found("b", std::nullopt), 2U);
}

TEST_F(WindowFitterTest, takesAFocusedWindowOutsideTheListByItsTitle) {
  add(1, "a", {{0, 0}, {300, 200}});
  add(2, "sheet", {{0, 0}, {300, 200}}).isAccessible = false;
  windows_.focused[42] = 2;
  windows_.main[42] = 1;
  EXPECT_EQ(found("sheet", std::nullopt), 2U);
}

TEST_F(WindowFitterTest, takesTheMainWindowBeforeAFocusedOneOfAnotherTitle) {
  add(1, "a", {{0, 0}, {300, 200}});
  add(2, "b", {{0, 0}, {300, 200}});
  windows_.focused[42] = 1;
  windows_.main[42] = 2;
  EXPECT_EQ(found("gone", std::nullopt), 2U);
}

TEST_F(WindowFitterTest, takesTheOnlyWindowBeforeTheFocusedOne) {
  add(1, "a", {{0, 0}, {300, 200}});
  add(2, "b", {{0, 0}, {300, 200}}).isAccessible = false;
  windows_.focused[42] = 2;
  EXPECT_EQ(found("gone", std::nullopt), 1U);
}

TEST_F(WindowFitterTest, endsWithTheFocusedAndThenTheFirstWindow) {
  add(1, "a", {{0, 0}, {300, 200}});
  add(2, "b", {{0, 0}, {300, 200}});
  EXPECT_EQ(found("gone", std::nullopt), 1U);
  windows_.entries[0].frame.origin = {0, 0};
  windows_.focused[42] = 2;
  EXPECT_EQ(found("gone", std::nullopt), 2U);
}

TEST_F(WindowFitterTest, findsNothingInAnApplicationWithoutWindows) {
  EXPECT_EQ(found("a", PointRect{{0, 0}, {300, 200}}), 0U);
}

TEST_F(WindowFitterTest, skipsWindowsWhoseFrameCannotBeRead) {
  add(1, "a", {{0, 0}, {300, 200}});
  add(2, "b", {{0, 0}, {300, 200}});
  windows_.beforeCall = [this](const std::string& call) {
    if (call == "frame 1") windows_.destroy(1);
  };
  EXPECT_EQ(found("b", PointRect{{0, 0}, {300, 200}}), 2U);
}

TEST_F(WindowFitterTest, setsSizePositionAndSize) {
  add(1, "a", {{0, 40}, {300, 200}});
  const LogRecorder log;
  const auto window = fitter_.findAXWindow(42, "a", std::nullopt);
  windows_.calls.clear();
  EXPECT_EQ(fitter_.fit(*window, {{0, 40}, {300, 200}}, 1.5, 1), (PointRect{{0, 32}, {1200, 800}}));
  EXPECT_THAT(windows_.calls,
              ElementsAre("screens", "setSize 1 1200x800", "setPosition 1 0,32", "setSize 1 1200x800"));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(WindowFitterTest, givesTheFrameAndLogsWhenTheWindowRefusesIt) {
  add(1, "a", {{0, 40}, {300, 200}}).status = -25205;
  const LogRecorder log;
  const auto window = fitter_.findAXWindow(42, "a", std::nullopt);
  EXPECT_EQ(fitter_.fit(*window, {{0, 40}, {300, 200}}, 1.5, 1), (PointRect{{0, 32}, {1200, 800}}));
  EXPECT_EQ(log.count("fit AX set errors: size=-25205 pos=-25205 size2=-25205"), 1U);
}

TEST_F(WindowFitterTest, fitsOnTheScreenOfTheWindowsCentre) {
  windows_.screenFrames.push_back({{{1440, 0}, {1000, 1000}}, {{1440, 0}, {1000, 900}}, false});
  add(1, "a", {{1400, 0}, {300, 200}});
  const auto window = fitter_.findAXWindow(42, "a", std::nullopt);
  EXPECT_EQ(fitter_.fit(*window, {{1400, 0}, {300, 200}}, 1.0, 1), (PointRect{{1440, 0}, {900, 900}}));
}

TEST_F(WindowFitterTest, fitsNothingWithoutAScreen) {
  windows_.screenFrames.clear();
  add(1, "a", {{0, 40}, {300, 200}});
  const auto window = fitter_.findAXWindow(42, "a", std::nullopt);
  EXPECT_EQ(fitter_.fit(*window, {{0, 40}, {300, 200}}, 1.5, 1), std::nullopt);
  EXPECT_TRUE(windows_.callsOf("set").empty());
}

}  // namespace
}  // namespace quorl::test
