// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/TargetResolution.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace quorl {
namespace {

ShareableDisplay display(std::uint32_t id, PointRect bounds, bool isMain) {
  return {.displayID = id, .name = "d", .bounds = bounds, .pixelScale = 1, .isMain = isMain};
}

ShareableWindow window(std::uint32_t id, std::int32_t pid, PointRect frame, bool isOnScreen = true) {
  return {
      .windowID = id, .pid = pid, .title = fmt::format("w{}", id), .frame = frame, .isOnScreen = isOnScreen};
}

ShareableContent twoDisplays() {
  ShareableContent content;
  content.displays = {display(5, {{1000, 0}, {800, 600}}, false), display(9, {{0, 0}, {1000, 700}}, true)};
  return content;
}

TEST(TargetResolution, showsTheNamedDisplayWithItsBounds) {
  const auto resolved = resolveTarget(streamTarget::Display{5}, twoDisplays());
  ASSERT_TRUE(resolved);
  EXPECT_EQ(std::get<DisplayFilter>(resolved->filter).displayID, 5U);
  EXPECT_EQ(resolved->contentRect, (PointRect{{1000, 0}, {800, 600}}));
  EXPECT_FALSE(resolved->inputPID);
}

TEST(TargetResolution, showsTheMainDisplayForUnifiedOrElseTheFirst) {
  ShareableContent content = twoDisplays();
  EXPECT_EQ(std::get<DisplayFilter>(resolveTarget(streamTarget::Unified{}, content)->filter).displayID, 9U);
  content.displays[1].isMain = false;
  EXPECT_EQ(std::get<DisplayFilter>(resolveTarget(streamTarget::Unified{}, content)->filter).displayID, 5U);
}

TEST(TargetResolution, reportsWhatIsMissing) {
  const ShareableContent empty;
  const auto expectError = [&](const StreamTarget& target, const char* text) {
    const auto resolved = resolveTarget(target, empty);
    ASSERT_FALSE(resolved);
    EXPECT_EQ(resolved.error(), (WireError{"stream.target", text}));
  };
  expectError(streamTarget::Display{4'000'000'000U}, "display 4000000000 not found");
  expectError(streamTarget::Unified{}, "no displays available");
  expectError(streamTarget::Window{77}, "window 77 not found");
  expectError(streamTarget::App{"org.example.editor"}, "app org.example.editor not running");
}

TEST(TargetResolution, showsOneWindowAndItsProcess) {
  ShareableContent content = twoDisplays();
  content.windows = {window(3, 0, {{0, 0}, {10, 10}}), window(4, 42, {{20, 30}, {300, 200}})};
  const auto resolved = resolveTarget(streamTarget::Window{4}, content);
  ASSERT_TRUE(resolved);
  EXPECT_EQ(std::get<WindowFilter>(resolved->filter).windowID, 4U);
  EXPECT_EQ(resolved->contentRect, (PointRect{{20, 30}, {300, 200}}));
  EXPECT_EQ(resolved->inputPID, 42);
  EXPECT_EQ(resolved->window->title, "w4");
  EXPECT_FALSE(resolveTarget(streamTarget::Window{3}, content)->inputPID) << "no process is known";
}

TEST(TargetResolution, showsTheFrontWindowOfAnApplication) {
  ShareableContent content = twoDisplays();
  content.applications = {{"a.b", "B", 42}};
  content.windows = {window(1, 7, {{0, 0}, {900, 900}}), window(2, 42, {{5, 6}, {200, 100}})};
  const auto resolved = resolveTarget(streamTarget::App{"a.b"}, content);
  ASSERT_TRUE(resolved);
  EXPECT_EQ(std::get<WindowFilter>(resolved->filter).windowID, 2U);
  EXPECT_EQ(resolved->appPIDs, std::vector<std::int32_t>{42});
  EXPECT_FALSE(resolved->isWindowlessApp);
}

TEST(TargetResolution, showsAWindowlessApplicationOnTheMainDisplay) {
  ShareableContent content = twoDisplays();
  content.applications = {{"a.b", "B", 42}};
  auto resolved = resolveTarget(streamTarget::App{"a.b"}, content);
  ASSERT_TRUE(resolved);
  EXPECT_EQ(std::get<ApplicationFilter>(resolved->filter).displayID, 9U);
  EXPECT_EQ(std::get<ApplicationFilter>(resolved->filter).pid, 42);
  EXPECT_EQ(resolved->contentRect, (PointRect{{0, 0}, {1000, 700}}));
  EXPECT_TRUE(resolved->isWindowlessApp);

  content.windows = {window(1, 42, {{10, 10}, {50, 50}}), window(2, 42, {{90, 5}, {20, 20}}),
                     window(3, 42, {{0, 0}, {20, 20}}, false)};
  resolved = resolveTarget(streamTarget::App{"a.b"}, content);
  EXPECT_EQ(resolved->contentRect, (PointRect{{10, 5}, {100, 55}})) << "the union of what is on screen";

  content.displays.clear();
  EXPECT_EQ(resolveTarget(streamTarget::App{"a.b"}, content).error().message, "no displays available");
}

TEST(TargetResolution, countsNoPanelsAndMenusOfAnApplication) {
  ShareableContent content = twoDisplays();
  content.applications = {{"a.b", "B", 42}};
  content.windows = {window(1, 42, {{0, 0}, {500, 30}}), window(2, 42, {{10, 100}, {50, 50}}),
                     window(3, 42, {{0, 0}, {600, 400}})};
  content.windows[0].layer = 2;
  content.windows[2].layer = 3;
  const auto resolved = resolveTarget(streamTarget::App{"a.b"}, content);
  ASSERT_TRUE(resolved);
  EXPECT_TRUE(resolved->isWindowlessApp);
  EXPECT_EQ(resolved->contentRect, (PointRect{{10, 100}, {50, 50}}));
}

TEST(FrontWindow, prefersASmallOnScreenWindowToALargeHiddenOne) {
  const std::vector<ShareableWindow> windows = {window(1, 42, {{0, 0}, {2000, 1000}}, false),
                                                window(2, 42, {{0, 0}, {100, 60}})};
  EXPECT_EQ(frontWindow(windows, 42)->windowID, 2U);
}

TEST(FrontWindow, prefersTheLargerAndThenTheEarlier) {
  const std::vector<ShareableWindow> windows = {window(1, 42, {{0, 0}, {200, 100}}),
                                                window(2, 42, {{0, 0}, {300, 100}}),
                                                window(3, 42, {{0, 0}, {100, 300}})};
  EXPECT_EQ(frontWindow(windows, 42)->windowID, 2U);
}

TEST(FrontWindow, ignoresNarrowLowAndForeignWindows) {
  const std::vector<ShareableWindow> windows = {window(1, 42, {{0, 0}, {99, 600}}),
                                                window(2, 42, {{0, 0}, {600, 59}}),
                                                window(3, 43, {{0, 0}, {600, 600}})};
  EXPECT_EQ(frontWindow(windows, 42), nullptr);
}

}  // namespace
}  // namespace quorl
