// SPDX-License-Identifier: GPL-3.0-or-later
#include <linux/input-event-codes.h>

#include "WaylandFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;

class WaylandInputTest : public WaylandTest {
 protected:
  void TearDown() override {
    if (!IsSkipped()) sway().run("output HEADLESS-1 scale 1");
  }

  void expectExactClicks() const {
    for (const auto& [x, y] : {std::pair{5.0, 5.0}, {160.0, 75.0}, {310.0, 230.0}}) {
      const auto before = host_->inputs().size();
      pointAt(x, y);
      input().click();
      ASSERT_TRUE(spinUntil([&] { return host_->inputs().size() >= before + 2 && held() == 0; }));
      ASSERT_TRUE(lastPress());
      EXPECT_NEAR(double(lastPress()->x) * 320, x + 0.5, 0.75);
      EXPECT_NEAR(double(lastPress()->y) * 240, y + 0.5, 0.75);
    }
  }
};

TEST_F(WaylandInputTest, typedKeysReachTheHostOnce) {
  constexpr std::uint16_t b = 11;
  input().press({KEY_B});
  ASSERT_TRUE(spinUntil([&] { return hasPressed(b) && held() == 0; }));
  EXPECT_EQ(host_->inputs().size(), 2U);
}

TEST_F(WaylandInputTest, clicksLandWhereTheyAreSeen) {
  ASSERT_TRUE(spinUntil([&] { return window_->size() == QSize(1280, 720); })) << "it fills the output";
  expectExactClicks();
}

TEST_F(WaylandInputTest, clicksLandWhereTheyAreSeenAtScaleTwo) {
  sway().run("output HEADLESS-1 scale 2");
  ASSERT_TRUE(
      spinUntil([&] { return window_->devicePixelRatioF() == 2.0 && window_->size() == QSize(640, 360); }));
  expectExactClicks();
  screenshot("wayland-scale-2");
}

TEST_F(WaylandInputTest, focusLossReleasesKeysAndButtonsWithinATenthOfASecond) {
  pointAt(100, 100);
  input().key(KEY_A, true);
  input().button(VirtualInput::leftButton, true);
  ASSERT_TRUE(spinUntil([&] { return held() == 2; }));
  sway().run("workspace elsewhere");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(spinUntil([&] { return held() == 0; }, 5s));
  EXPECT_LE(std::chrono::steady_clock::now() - begin, 100ms);
  input().button(VirtualInput::leftButton, false);
  input().key(KEY_A, false);
  sway().run("workspace back_and_forth");
  EXPECT_TRUE(spinUntil([&] { return hasFocus(); }));
}

}  // namespace
}  // namespace quorl::viewer::test
