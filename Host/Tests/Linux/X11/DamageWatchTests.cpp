// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/DamageWatch.h>

#include <algorithm>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

#include "CaptureFixture.h"

namespace quorl::test {
namespace {

class DamageWatches : public testing::Test {
 protected:
  DamageWatches() {
    auto opened = X11Connection::open(X11DisplayName([this] { return server.display(); }));
    if (opened) connection = std::move(*opened);
  }
  /// Reads all events that the server has sent so far.
  void readEvents(DamageWatch& watch) {
    const XcbReply<xcb_get_input_focus_reply_t> all(
        xcb_get_input_focus_reply(connection->xcb(), xcb_get_input_focus(connection->xcb()), nullptr));
    for (;;) {
      const XcbReply<xcb_generic_event_t> event(xcb_poll_for_event(connection->xcb()));
      if (!event) return;
      watch.handle(event.get());
    }
  }
  static bool covers(const DirtyRegion& region, const PixelRect& part) {
    return std::ranges::any_of(region.rects(), [&](const auto& rect) { return rect.contains(part); });
  }

  XServer server{{.width = 800, .height = 600}};
  TestClient client{server.display()};
  std::unique_ptr<X11Connection> connection;
};

// The server merges what was drawn since into the damage, and the event of it is still on its way.
TEST_F(DamageWatches, loseNothingThatIsDrawnBetweenAnEventAndItsTaking) {
  ASSERT_TRUE(connection);
  const PixelRect first{10, 10, 20, 20};
  const PixelRect second{700, 500, 20, 20};
  DamageWatch watch(*connection, client.root());
  readEvents(watch);
  watch.skip();
  readEvents(watch);
  client.fillRoot(first, red);
  readEvents(watch);
  client.fillRoot(second, red);
  DirtyRegion taken = watch.take();
  EXPECT_TRUE(covers(taken, first));
  while (readEvents(watch), watch.hasChanges()) taken.add(watch.take());
  EXPECT_TRUE(covers(taken, second));
}

TEST_F(DamageWatches, reportAChangeThatFollows) {
  ASSERT_TRUE(connection);
  DamageWatch watch(*connection, client.root());
  readEvents(watch);
  watch.skip();
  readEvents(watch);
  EXPECT_FALSE(watch.hasChanges());
  for (const PixelRect& part :
       {PixelRect{10, 10, 20, 20}, PixelRect{0, 0, 800, 600}, PixelRect{5, 5, 4, 4}}) {
    client.fillRoot(part, red);
    readEvents(watch);
    EXPECT_TRUE(covers(watch.take(), part));
    readEvents(watch);
    EXPECT_FALSE(watch.hasChanges());
  }
}

}  // namespace
}  // namespace quorl::test
