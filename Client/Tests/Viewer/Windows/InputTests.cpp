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
    for (const auto& [shareX, shareY] : {std::pair{0.07, 0.07}, {0.5, 0.31}, {0.93, 0.93}}) {
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

TEST_F(WindowInputTest, thePointerAtAnEdgeMovesALargerPictureToItsEnd) {
  auto& view = window_->view();
  view.setScale(ScaleMode::fixed, 4);
  const auto target = [&] { return view.viewport().target(); };
  const auto size = view.viewport().layout().view;
  ASSERT_GT(target().width, size.width);
  ASSERT_LT(target().x, 0);
  const QPoint middle = viewOrigin() + QPoint(size.width, size.height) / 2;
  const auto moveTo = [&](QPoint by) {
    act({"mousemove", std::to_string(middle.x() + by.x()), std::to_string(middle.y() + by.y())});
  };
  moveTo({});
  moveTo({size.width / 2 - 3, 0});
  EXPECT_TRUE(spinUntil([&] { return target().maxX() == size.width; })) << target().x;
  act({"click", "1"});
  ASSERT_TRUE(spinUntil([&] { return presses() == 1 && heldAt(*host_) == 0; }));
  EXPECT_NEAR(lastPress()->x, 1, 0.01) << "the host's pointer has gone along";
  moveTo({0, 3 - size.height / 2});
  EXPECT_TRUE(spinUntil([&] { return target().y == 0; })) << target().y;
  EXPECT_EQ(target().maxX(), size.width);
}

TEST_F(WindowInputTest, aDragBeyondTheWindowMovesALargerPicture) {
  auto& view = window_->view();
  view.setScale(ScaleMode::fixed, 4);
  const auto size = view.viewport().layout().view;
  const QPoint middle = viewOrigin() + QPoint(size.width, size.height) / 2;
  act({"mousemove", std::to_string(middle.x()), std::to_string(middle.y()), "mousedown", "1"});
  ASSERT_TRUE(spinUntil([&] { return heldAt(*host_) == 1; }));
  act({"mousemove", "0", std::to_string(middle.y())});
  EXPECT_TRUE(spinUntil([&] {
    const auto pointer = lastPointer();
    return view.viewport().target().x == 0 && pointer && pointer->x < 0.01F;
  }));
  act({"mouseup", "1"});
  EXPECT_TRUE(spinUntil([&] { return heldAt(*host_) == 0; }));
}

TEST_F(WindowInputTest, keysMoveALargerPicture) {
  auto& view = window_->view();
  view.setScale(ScaleMode::fixed, 4);
  const auto target = [&] { return view.viewport().target(); };
  const auto size = view.viewport().layout().view;
  act({"key", "ctrl+alt+shift+Right", "key", "ctrl+alt+shift+Down"});
  EXPECT_TRUE(spinUntil([&] { return target().maxX() == size.width && target().maxY() == size.height; }))
      << target().x << " " << target().y;
  act({"key", "ctrl+alt+shift+Left", "key", "ctrl+alt+shift+Left"});
  EXPECT_TRUE(spinUntil([&] { return target().x == 0; })) << target().x;
  EXPECT_EQ(target().maxY(), size.height);
  EXPECT_TRUE(spinUntil([&] { return heldAt(*host_) == 0; }));
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
