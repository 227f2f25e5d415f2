// SPDX-License-Identifier: GPL-3.0-or-later
// Windows without a window manager, and with one that ends and
// comes back.
#include <optional>

#include <xcb/xcb.h>

#include "TestWindows.h"

namespace quorl::test {
namespace {

using WithoutAWindowManager = UnmanagedWindowFixture;

TEST_F(WithoutAWindowManager, aWindowIsChangedDirectly) {
  const auto window = makeWindow({50, 60, 200, 150}, "bare");
  const auto element = accessible(window);
  EXPECT_EQ(element->frame(), (PointRect{{50, 60}, {200, 150}}));
  EXPECT_EQ(element->setSize({300, 250}), 0);
  EXPECT_EQ(element->setPosition({10, 20}), 0);
  EXPECT_EQ(element->frame(), (PointRect{{10, 20}, {300, 250}}));
}

TEST_F(WithoutAWindowManager, theBorderBelongsToTheFrame) {
  const auto window = makeWindow({50, 60, 200, 150}, "border");
  const std::uint32_t width = 5;
  xcb_configure_window(client.xcb(), window, XCB_CONFIG_WINDOW_BORDER_WIDTH, &width);
  client.sync();
  const auto element = accessible(window);
  EXPECT_EQ(element->frame(), (PointRect{{50, 60}, {210, 160}}));
  EXPECT_EQ(element->setSize({300, 250}), 0);
  EXPECT_EQ(element->frame(), (PointRect{{50, 60}, {300, 250}}));
}

TEST_F(WithoutAWindowManager, activationRaisesAndGivesTheKeyboard) {
  const auto lower = makeWindow({50, 60, 200, 150}, "lower");
  makeWindow({60, 70, 200, 150}, "upper");
  EXPECT_EQ(control.frontmostApplication(), std::nullopt);
  EXPECT_EQ(listWindows().at(0).title, "upper");
  control.activate(ownPid(), lower);
  EXPECT_EQ(listWindows().at(0).title, "lower");
  EXPECT_EQ(control.frontmostApplication(), ownPid());
  ASSERT_TRUE(control.focusedWindow(ownPid()));
  EXPECT_EQ(control.focusedWindow(ownPid())->title(), "lower");
}

TEST_F(WithoutAWindowManager, aWindowCannotBeMinimisedButAHiddenOneIsShown) {
  const auto window = makeWindow({50, 60, 200, 150}, "bare");
  const auto element = accessible(window);
  EXPECT_NE(element->setMinimized(true), 0);
  EXPECT_EQ(element->isMinimized(), false);
  client.unmap(window);
  EXPECT_FALSE(find("bare"));
  EXPECT_EQ(element->setMinimized(false), 0);
  EXPECT_TRUE(find("bare"));
}

class WindowManager : public UnmanagedWindowFixture {
 protected:
  bool isManaged(std::uint32_t window) {
    const auto bounds = control.windowBounds(window);
    return bounds && bounds->size.height > 150;
  }
};

TEST_F(WindowManager, mayHangWithoutHoldingTheCaller) {
  Openbox manager(server);
  const auto window = client.makeWindow({50, 60, 200, 150}, TestClient::Managed::yes, "held");
  ASSERT_TRUE(eventuallyHolds([&] { return isManaged(window); }));
  const auto element = accessible(window);
  const auto before = element->frame();
  manager.pause();
  EXPECT_EQ(element->setSize({400, 300}), 0) << "it may still be granted";
  EXPECT_EQ(element->frame(), before);
  manager.resume();
  EXPECT_TRUE(eventuallyHolds([&] { return element->frame()->size == PointSize{400, 300}; }));
}

TEST_F(WindowManager, mayBeReplacedAndTheWindowsKeepTheirNumbers) {
  std::optional<Openbox> manager;
  manager.emplace(server);
  const auto window = client.makeWindow({50, 60, 200, 150}, TestClient::Managed::yes, "kept");
  ASSERT_TRUE(eventuallyHolds([&] { return isManaged(window); }));
  const auto element = accessible(window);
  manager->kill();
  ASSERT_TRUE(eventuallyHolds([&] { return !isManaged(window); })) << "the frame is gone";
  const auto added = makeWindow({300, 60, 200, 150}, "added");
  EXPECT_TRUE(find("kept")) << "the old window manager's list is stale";
  EXPECT_TRUE(find("added"));
  EXPECT_EQ(element->setSize({320, 240}), 0);
  EXPECT_EQ(element->frame()->size, (PointSize{320, 240}));
  manager.emplace(server);
  ASSERT_TRUE(eventuallyHolds([&] { return isManaged(added); }));
  EXPECT_TRUE(eventuallyHolds(
      [&] { return element->setSize({330, 250}) == 0 && element->frame()->size == PointSize{330, 250}; }));
  EXPECT_EQ(find("kept")->windowID, window);
}

}  // namespace
}  // namespace quorl::test
