// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Display/WindowRaiser.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <Support/FakeMainThread.h>
#include <Support/FakeWindowControl.h>

namespace quorl::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WindowRaiserTest : public testing::Test {
 protected:
  void add(std::uint32_t windowID, const std::string& title, bool isMinimized, std::int32_t pid = 42) {
    FakeWindowControl::Entry entry;
    entry.windowID = windowID;
    entry.pid = pid;
    entry.title = title;
    entry.isMinimized = isMinimized;
    windows_->entries.push_back(entry);
  }

  SimulatedScheduler scheduler_;
  std::shared_ptr<FakeWindowControl> windows_ = std::make_shared<FakeWindowControl>();
  std::shared_ptr<FakeMainThread> mainThread_ = std::make_shared<FakeMainThread>();
  WindowRaiser raiser_{scheduler_, windows_, mainThread_};
};

TEST_F(WindowRaiserTest, activatesOnTheMainThread) {
  add(1, "a", false);
  raiser_.activate(42, 1);
  EXPECT_THAT(windows_->calls, IsEmpty());
  mainThread_->runPending();
  EXPECT_THAT(windows_->calls, ElementsAre("activate 42 1"));
}

TEST_F(WindowRaiserTest, showsTheFirstWindowWithTheTitleAndNoOther) {
  add(1, "other", true);
  add(2, " Notes\n", true);
  add(3, "Notes", true);
  raiser_.unminimize(42, "Notes\t ");
  EXPECT_THAT(windows_->changes(), ElementsAre("setMinimized 2 false"));
}

TEST_F(WindowRaiserTest, showsAllMinimisedWindowsWithoutATitle) {
  add(1, "a", true);
  add(2, "b", false);
  add(3, "", true);
  add(4, "foreign", true, 43);
  raiser_.unminimize(42, " \n");
  EXPECT_THAT(windows_->changes(), ElementsAre("setMinimized 1 false", "setMinimized 3 false"));
}

TEST_F(WindowRaiserTest, showsAllMinimisedWindowsWhenNoneHasTheTitle) {
  add(1, "a", true);
  add(2, "b", false);
  raiser_.unminimize(42, "gone");
  EXPECT_THAT(windows_->changes(), ElementsAre("setMinimized 1 false"));
}

TEST_F(WindowRaiserTest, doesNothingInAnApplicationWithoutWindows) {
  raiser_.unminimize(42, "a");
  EXPECT_THAT(windows_->calls, ElementsAre("accessibleWindows 42"));
}

TEST_F(WindowRaiserTest, raisesTheWindowAndItsApplication) {
  add(1, "a", true);
  windows_->frontmost = 7;
  raiser_.raise(42, WindowRaiser::Window{1, "a"});
  EXPECT_THAT(windows_->calls, IsEmpty());
  mainThread_->runPending();
  EXPECT_THAT(windows_->changes(), ElementsAre("setMinimized 1 false", "activate 42 1"));
}

TEST_F(WindowRaiserTest, raisesNothingInTheFrontmostApplication) {
  add(1, "a", true);
  windows_->frontmost = 42;
  raiser_.raise(42, WindowRaiser::Window{1, "a"});
  mainThread_->runPending();
  EXPECT_THAT(windows_->calls, ElementsAre("frontmostApplication"));
}

TEST_F(WindowRaiserTest, raisesAnApplicationWithoutAKnownWindow) {
  add(1, "a", true);
  raiser_.raise(42, std::nullopt);
  mainThread_->runPending();
  EXPECT_THAT(windows_->changes(), ElementsAre("activate 42"));
}

TEST_F(WindowRaiserTest, keepsThePortForPostedWork) {
  WindowRaiser(scheduler_, windows_, mainThread_).activate(42, std::nullopt);
  const std::weak_ptr<FakeWindowControl> weak = windows_;
  windows_.reset();
  EXPECT_FALSE(weak.expired());
  mainThread_->runPending();
}

}  // namespace
}  // namespace quorl::test
