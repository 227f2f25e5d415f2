// SPDX-License-Identifier: GPL-3.0-or-later
#include "WindowFixture.h"

namespace quorl::viewer::test {
namespace {

using namespace std::chrono_literals;
using Time = std::chrono::steady_clock;

class WindowInputTest : public WindowTest {
 protected:
  void SetUp() override {
    open();
    ASSERT_TRUE(hasPicture());
  }
  void TearDown() override { act({"keyup", "a", "mouseup", "1", "mouseup", "3"}); }

  void hold() {
    pointAt(100, 100);
    act({"keydown", "a", "mousedown", "1"});
    ASSERT_TRUE(spinUntil([&] { return heldAt(*host_) == 2; })) << heldAt(*host_);
  }
  // The time from the event in the window to the last release at the host.
  std::chrono::milliseconds timeUntilReleased() {
    const auto begin = Time::now();
    EXPECT_TRUE(spinUntil([&] { return heldAt(*host_) == 0; }, 5s)) << heldAt(*host_);
    return std::chrono::duration_cast<std::chrono::milliseconds>(Time::now() - begin);
  }
  std::optional<inputEvent::Pointer> lastPress() const {
    std::optional<inputEvent::Pointer> found;
    for (const auto& input : host_->inputs())
      if (const auto* pointer = std::get_if<inputEvent::Pointer>(&input.value))
        if (pointer->phase == PointerPhase::down) found = *pointer;
    return found;
  }
  std::optional<inputEvent::Pointer> lastPointer() const {
    std::optional<inputEvent::Pointer> found;
    for (const auto& input : host_->inputs())
      if (const auto* pointer = std::get_if<inputEvent::Pointer>(&input.value)) found = *pointer;
    return found;
  }
  std::size_t presses() const {
    std::size_t count = 0;
    for (const auto& input : host_->inputs())
      if (const auto* pointer = std::get_if<inputEvent::Pointer>(&input.value))
        count += pointer->phase == PointerPhase::down ? 1 : 0;
    return count;
  }
  void expectExactClicks() {
    const auto visible = window_->view().viewport().visible();
    const auto target = window_->view().viewport().target();
    const auto picture = window_->view().viewport().layout().picture;
    const auto remoteX = [&](double share) {
      return std::floor((visible.x - target.x + share * visible.width) * picture.width / target.width);
    };
    const auto remoteY = [&](double share) {
      return std::floor((visible.y - target.y + share * visible.height) * picture.height / target.height);
    };
    for (const auto& [shareX, shareY] : {std::pair{0.02, 0.02}, {0.5, 0.31}, {0.97, 0.97}}) {
      const double x = remoteX(shareX);
      const double y = remoteY(shareY);
      const auto before = presses();
      pointAt(x, y);
      act({"click", "1"});
      ASSERT_TRUE(spinUntil([&] { return presses() > before && heldAt(*host_) == 0; }));
      EXPECT_NEAR(double(lastPress()->x) * picture.width, x + 0.5, 0.75);
      EXPECT_NEAR(double(lastPress()->y) * picture.height, y + 0.5, 0.75);
    }
  }
};

TEST_F(WindowInputTest, focusLossReleasesKeysAndButtonsWithinATenthOfASecond) {
  const auto other = desktop().start({"xlogo", "-geometry", "100x100+1100+700"});
  std::string id;
  ASSERT_TRUE(spinUntil([&] {
    id = desktop().run({"xdotool", "search", "--onlyvisible", "--class", "XLogo"});
    return !id.empty();
  }));
  id = id.substr(0, id.find('\n'));
  ASSERT_TRUE(spinUntil([&] { return !window_->isActiveWindow(); })) << "a new window gets the focus";
  ASSERT_TRUE(activate());
  hold();
  act({"windowfocus", id});
  EXPECT_LE(timeUntilReleased(), 100ms);
  EXPECT_TRUE(spinUntil([&] { return !window_->isActiveWindow(); }));
}

TEST_F(WindowInputTest, ungrabReleasesKeysAndButtonsWithinATenthOfASecond) {
  act({"key", "ctrl+alt+shift+space"});
  const auto grab = [&] { return action("Grab keyboard")->isChecked(); };
  ASSERT_TRUE(spinUntil(grab));
  hold();
  act({"key", "ctrl+alt+shift+space"});
  EXPECT_LE(timeUntilReleased(), 100ms);
  EXPECT_TRUE(spinUntil([&] { return !grab(); }));
}

TEST_F(WindowInputTest, fullScreenReleasesKeysAndButtonsWithinATenthOfASecond) {
  hold();
  window_->setFullScreen(true);
  EXPECT_LE(timeUntilReleased(), 100ms);
  EXPECT_TRUE(spinUntil([&] { return window_->isFullScreen(); }));
}

TEST_F(WindowInputTest, clicksLandWhereTheyAreSeenInALetterbox) {
  const auto target = window_->view().viewport().target();
  EXPECT_GT(target.height, 240) << "it fills the view";
  EXPECT_TRUE(target.x > 0 || target.y > 0) << "it has bars";
  expectExactClicks();
}

TEST_F(WindowInputTest, clicksLandWhereTheyAreSeenAtEachScale) {
  for (const auto& [mode, factor] : {std::pair{ScaleMode::exact, 1.0},
                                     {ScaleMode::fixed, 1.25},
                                     {ScaleMode::fixed, 1.5},
                                     {ScaleMode::fixed, 2.0}}) {
    window_->view().setScale(mode, factor);
    EXPECT_EQ(window_->view().viewport().target().width, static_cast<int>(320 * factor));
    expectExactClicks();
  }
}

TEST_F(WindowInputTest, clicksLandWhereTheyAreSeenInAPictureLargerThanTheWindow) {
  window_->view().setScale(ScaleMode::fixed, 4);
  expectExactClicks();
}

TEST_F(WindowInputTest, aDragContinuesOutsideTheWindow) {
  pointAt(100, 100);
  act({"mousedown", "1"});
  ASSERT_TRUE(spinUntil([&] { return heldAt(*host_) == 1; }));
  const QPoint corner = viewOrigin();
  act({"mousemove", "0", std::to_string(corner.y() + 200)});
  ASSERT_LT(0, window_->x()) << "the pointer is outside";
  ASSERT_TRUE(spinUntil([&] {
    const auto pointer = lastPointer();
    return pointer && pointer->phase == PointerPhase::moved && pointer->x < 0.01F;
  }));
  act({"mouseup", "1"});
  EXPECT_TRUE(spinUntil([&] { return heldAt(*host_) == 0; }));
}

TEST_F(WindowInputTest, typedKeysReachTheHostOnce) {
  act({"key", "b"});
  ASSERT_TRUE(spinUntil([&] { return host_->inputs().size() >= 2 && heldAt(*host_) == 0; }));
  std::size_t downs = 0;
  for (const auto& input : host_->inputs())
    if (const auto* key = std::get_if<inputEvent::Key>(&input.value)) downs += key->down ? 1 : 0;
  EXPECT_EQ(downs, 1U);
}

}  // namespace
}  // namespace quorl::viewer::test
