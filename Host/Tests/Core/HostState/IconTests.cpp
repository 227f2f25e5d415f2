// SPDX-License-Identifier: GPL-3.0-or-later
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HostStateFixture.h"

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Render = FakeRunningApplications::Render;

class IconTest : public HostStateFixture {
 protected:
  std::optional<Bytes> iconNow() {
    askAndRun();
    return answers_.back().apps.at(0).iconPNG;
  }
  std::vector<Render>& renders() { return platform_.runningApplications->renders; }
};

TEST_F(IconTest, isAbsentInTheFirstStateOfAnApplicationAndPresentInTheNext) {
  EXPECT_EQ(iconNow(), std::nullopt);
  EXPECT_EQ(iconNow(), bytesOf("png"));
}

TEST_F(IconTest, isRenderedOnceAt48By48) {
  for (int count = 0; count < 5; ++count) iconNow();
  EXPECT_THAT(renders(), ElementsAre(Render{"org.example.editor", 10, 48}));
}

TEST_F(IconTest, isRenderedAgainAtTheNextStateAfterAFailure) {
  platform_.runningApplications->icons.clear();
  EXPECT_EQ(iconNow(), std::nullopt);
  EXPECT_EQ(iconNow(), std::nullopt);
  EXPECT_EQ(renders().size(), 2U);
  platform_.runningApplications->icons["org.example.editor"] = bytesOf("late");
  EXPECT_EQ(iconNow(), std::nullopt);
  EXPECT_EQ(iconNow(), bytesOf("late"));
  EXPECT_EQ(renders().size(), 3U);
}

TEST_F(IconTest, isNeverAnEmptyFile) {
  platform_.runningApplications->icons["org.example.editor"] = Bytes();
  iconNow();
  EXPECT_EQ(iconNow(), std::nullopt);
}

TEST_F(IconTest, keepsItsFirstPictureWhenTheApplicationIsUpdated) {
  iconNow();
  platform_.runningApplications->icons["org.example.editor"] = bytesOf("new");
  EXPECT_EQ(iconNow(), bytesOf("png"));
}

TEST_F(IconTest, isRenderedForEachApplicationWithAListedWindow) {
  auto& content = *platform_.screen->content;
  content.applications.push_back({"org.example.idle", "Idle", 10});
  content.applications.push_back({"org.example.viewer", "Viewer", 10});
  content.windows.push_back(editorWindow(4, "picture"));
  content.windows.back().bundleID = "org.example.viewer";
  iconNow();
  EXPECT_THAT(renders(),
              ElementsAre(Render{"org.example.editor", 10, 48}, Render{"org.example.viewer", 10, 48}));
}

/// Each question runs in its own turn of the queue, so that renders are under way between them.
class SlowIcons : public FakeRunningApplications {
 public:
  std::optional<Bytes> iconPNG(const std::string& bundleID, std::int32_t pid, int side) override {
    if (whileRendering) std::exchange(whileRendering, nullptr)();
    return FakeRunningApplications::iconPNG(bundleID, pid, side);
  }
  std::function<void()> whileRendering;
};

TEST_F(IconTest, isRenderedAtMostOnceAtATime) {
  const auto slow = std::make_shared<SlowIcons>();
  slow->icons["org.example.editor"] = bytesOf("png");
  platform_.runningApplications = slow;
  provider_ = std::make_shared<HostStateProvider>(platform_.platform());
  std::size_t answeredWhileRendering = 0;
  slow->whileRendering = [&] {
    for (int count = 0; count < 3; ++count) askAndRun();
    answeredWhileRendering = answers_.size();
  };
  askAndRun();
  EXPECT_EQ(answeredWhileRendering, 4U) << "no state waits for an icon";
  EXPECT_EQ(slow->renders.size(), 1U);
  EXPECT_EQ(iconNow(), bytesOf("png"));
}

TEST_F(IconTest, isNotKeptForMoreIdentifiersThanTheLimit) {
  auto& content = *platform_.screen->content;
  content.windows.clear();
  content.applications.clear();
  for (std::size_t number = 0; number < IconCache::maxIcons + 10; ++number) {
    const std::string bundleID = "x11.changing-" + std::to_string(number);
    content.windows.push_back(editorWindow(static_cast<std::uint32_t>(number), "w"));
    content.windows.back().bundleID = bundleID;
    content.applications.push_back({bundleID, "Changing", 10});
    platform_.runningApplications->icons[bundleID] = bytesOf("png");
  }
  iconNow();
  iconNow();
  EXPECT_EQ(renders().size(), IconCache::maxIcons);
}

TEST_F(IconTest, isAbsentWhereThePlatformHasNone) {
  platform_.runningApplications = nullptr;
  provider_ = std::make_shared<HostStateProvider>(platform_.platform());
  EXPECT_EQ(iconNow(), std::nullopt);
  EXPECT_EQ(iconNow(), std::nullopt);
}

TEST_F(IconTest, mayOutliveTheProvider) {
  ask();
  // Every interleaving of the end and the render is safe; the seed picks one.
  simulation_.step();
  provider_.reset();
  simulation_.runReady();
  EXPECT_LE(renders().size(), 1U);
}

}  // namespace
}  // namespace quorl::test
