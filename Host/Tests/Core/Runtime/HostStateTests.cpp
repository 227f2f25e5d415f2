// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostCore/HostState/HostStateProvider.h>
#include <Support/FakePlatform.h>
#include <Support/LogRecorder.h>

namespace quorl::test {
namespace {

ShareableWindow window(std::uint32_t windowID, std::string title, PointSize size = {400, 300}) {
  return {.windowID = windowID,
          .pid = 10,
          .title = std::move(title),
          .bundleID = "org.example.editor",
          .appName = "Editor",
          .frame = {{0, 0}, size},
          .isOnScreen = true};
}

std::vector<std::uint32_t> listed(const ShareableContent& content) {
  std::vector<std::uint32_t> ids;
  for (const WindowInfo& info : hostStateFromContent(content).windows) ids.push_back(info.id);
  return ids;
}

TEST(HostState, leavesOutAWindowWithABlankTitleAndKeepsSurroundingSpaces) {
  ShareableContent content;
  content.windows = {window(1, " \t\n"), window(2, " a "), window(3, "")};
  const HostState state = hostStateFromContent(content);
  ASSERT_EQ(state.windows.size(), 1U);
  EXPECT_EQ(state.windows[0].title, " a ");
}

TEST(HostState, leavesOutAWindowNarrowerThan120OrLowerThan80) {
  ShareableContent content;
  content.windows = {window(1, "a", {119, 300}), window(2, "b", {120, 80}), window(3, "c", {400, 79})};
  EXPECT_EQ(listed(content), std::vector<std::uint32_t>{2});
}

TEST(HostState, listsWindowsOnTheScreenFirstAndElseInTheOrderOfTheContent) {
  ShareableContent content;
  content.windows = {window(1, "a"), window(2, "b"), window(3, "c"), window(4, "d")};
  content.windows[0].isOnScreen = false;
  content.windows[2].isOnScreen = false;
  EXPECT_EQ(listed(content), (std::vector<std::uint32_t>{2, 4, 1, 3}));
}

TEST(HostState, listsApplicationsWithWindowsOnlyAndCountsThem) {
  ShareableContent content;
  content.applications = {{"org.example.idle", "Idle", 9}, {"org.example.editor", "Editor", 10}};
  content.windows = {window(1, "a"), window(2, "b"), window(3, "nameless")};
  content.windows[2].bundleID = "";
  const HostState state = hostStateFromContent(content);
  ASSERT_EQ(state.apps.size(), 1U);
  EXPECT_EQ(state.apps[0].name, "Editor");
  EXPECT_EQ(state.apps[0].windowCount, 2);
  EXPECT_EQ(state.windows[2].appBundleID, std::nullopt);
}

TEST(HostState, reportsDisplaysInPixels) {
  ShareableContent content;
  content.displays = {
      {.displayID = 5, .name = "", .bounds = {{0, 0}, {1280, 800}}, .pixelScale = 2, .isMain = true}};
  const HostState state = hostStateFromContent(content);
  EXPECT_EQ(state.displays, (std::vector<DisplayInfo>{{5, "Display 5", 2560, 1600, 2.0, true}}));
}

class HostStateProviderTest : public testing::Test {
 protected:
  void ask() {
    provider_->buildState([this](HostState state) { answers_.push_back(std::move(state)); });
    simulation_.runReady();
  }
  SimulatedScheduler simulation_;
  FakePlatform platform_{simulation_};
  std::shared_ptr<HostStateProvider> provider_ =
      std::make_shared<HostStateProvider>(simulation_, platform_.screen);
  std::vector<HostState> answers_;
};

TEST_F(HostStateProviderTest, answersOnceAndDropsContentAfterTheLimit) {
  platform_.screen->holdsContentAnswers = true;
  ask();
  simulation_.advance(std::chrono::milliseconds(1499));
  EXPECT_TRUE(answers_.empty());
  simulation_.advance(std::chrono::milliseconds(1));
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_TRUE(answers_[0].displays.empty());
  platform_.screen->releaseContentAnswers();
  simulation_.runReady();
  EXPECT_EQ(answers_.size(), 1U);
}

TEST_F(HostStateProviderTest, answersOnceEvenIfTheLimitPassesLater) {
  ask();
  simulation_.advance(std::chrono::seconds(5));
  ASSERT_EQ(answers_.size(), 1U);
  EXPECT_EQ(answers_[0].displays.size(), 1U);
  EXPECT_EQ(simulation_.pendingTimers(), 0U);
}

TEST_F(HostStateProviderTest, neverWithholdsTheStateWhenThePlatformFails) {
  LogRecorder log;
  platform_.screen->content = std::unexpected(PortError{"no display", 1});
  ask();
  EXPECT_EQ(answers_, std::vector<HostState>{HostState{}});
  EXPECT_TRUE(log.has(LogLevel::error, "app", "shareable content failed: no display"));
}

}  // namespace
}  // namespace quorl::test
