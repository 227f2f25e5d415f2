// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <Integration/HostProcess.h>
#include <Integration/StreamViewer.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

#include <QuorlHostLinux/X11/Windows/X11WindowControl.h>

#include "TestClient.h"

namespace quorl::test {

/// The real program on a desktop of 1000x800 points with a window manager, and a paired client.
class DesktopStreamFixture : public ::testing::Test {
 protected:
  static constexpr PointSize landscape{800, 600};  // a view; a window fitted to it has 1000x750 points
  static constexpr PointSize fittedToLandscape{1000, 750};

  void SetUp() override {
    ASSERT_TRUE(host.listens()) << host.program().output();
    viewer = std::make_unique<StreamViewer>(port);
    const auto paired = viewer->client().pair("314159");
    ASSERT_TRUE(paired);
    token = *paired;
  }

  /// A managed window of the test's process with its background in this colour.
  std::uint32_t makeWindow(TestClient& client, const PixelRect& bounds, const std::string& title,
                           std::uint32_t color = 0x808080) {
    const auto window = client.makeWindow(bounds, TestClient::Managed::yes, title);
    client.setBackground(window, color);
    // The window manager has placed and framed it.
    EXPECT_TRUE(eventually(
        [&] {
          const auto windows =
              control.windowList(WindowScope::onScreen).value_or(std::vector<ListedWindow>{});
          const auto found = std::ranges::find(windows, window, &ListedWindow::windowID);
          return found != windows.end() && found->bounds.size.height > bounds.height;
        },
        patience));
    return window;
  }
  PointRect frameOf(std::uint32_t window) { return control.windowBounds(window).value_or(PointRect{}); }
  bool getsFrame(std::uint32_t window, const PointRect& frame) {
    return eventually([&] { return frameOf(window) == frame; }, patience);
  }
  /// The program that a user has in front.
  bool isActive(std::uint32_t window) const {
    const std::string active = server.run({"xdotool", "getactivewindow"});
    return active == std::to_string(window) + "\n";
  }

  TemporaryFolder home;
  const std::uint16_t port = freePort();
  XServer server{{.width = 1000, .height = 800, .windowManager = XServer::WindowManager::openbox}};
  TestClient user{server.display()};
  X11WindowControl control{std::make_shared<WindowSession>([this] { return server.display(); })};
  HostProcess host{{.port = port,
                    .home = home.path(),
                    .options = {"--pin", "314159"},
                    .environment = {"DISPLAY=" + server.display()}}};
  Bytes token;
  std::unique_ptr<StreamViewer> viewer;
};

}  // namespace quorl::test
