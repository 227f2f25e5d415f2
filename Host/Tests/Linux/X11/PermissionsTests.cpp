// SPDX-License-Identifier: GPL-3.0-or-later
#include <cstdlib>

#include <gtest/gtest.h>

#include <QuorlHostLinux/X11/Connection/X11Permissions.h>
#include <Support/Eventually.h>
#include <Support/XServerFixture.h>

namespace quorl::test {
namespace {

/// A display name that counts the attempts to connect.
struct CountedName {
  std::shared_ptr<std::atomic<int>> attempts = std::make_shared<std::atomic<int>>(0);
  std::optional<std::string> name;

  std::optional<std::string> operator()() const {
    ++*attempts;
    return name;
  }
};

TEST(Permissions, grantInputAndCaptureWhileThereIsADisplay) {
  const XServer server{{.width = 320, .height = 240}};
  X11Permissions permissions([name = server.display()] { return name; });
  EXPECT_TRUE(permissions.mayPostInput());
  EXPECT_TRUE(permissions.mayCaptureScreen());
}

TEST(Permissions, askOneConnectionForManyEvents) {
  const XServer server{{.width = 320, .height = 240}};
  const CountedName name{.name = server.display()};
  X11Permissions permissions(name);
  for (int i = 0; i < 1'000; ++i) EXPECT_TRUE(permissions.mayPostInput());
  EXPECT_EQ(*name.attempts, 1);
}

TEST(Permissions, tryToConnectOnceForManyEventsOfOneSecond) {
  const CountedName name;
  X11Permissions permissions(name);
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 1'000; ++i) EXPECT_FALSE(permissions.mayPostInput());
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_LE(*name.attempts, 1 + elapsed / std::chrono::seconds(1));
}

TEST(Permissions, endWithTheServer) {
  XServer server{{.width = 320, .height = 240}};
  const CountedName name{.name = server.display()};
  X11Permissions permissions(name);
  ASSERT_TRUE(permissions.mayPostInput());
  server.kill();
  EXPECT_TRUE(eventually([&] { return !permissions.mayPostInput(); }));
  EXPECT_FALSE(permissions.mayCaptureScreen());
}

TEST(Permissions, followADisplayThatAppearsAfterTheStart) {
  auto name = std::make_shared<std::optional<std::string>>();
  X11Permissions permissions([name] { return *name; });
  EXPECT_FALSE(permissions.mayPostInput());
  const XServer server{{.width = 320, .height = 240}};
  *name = server.display();
  EXPECT_TRUE(eventually([&] { return permissions.mayPostInput(); }));
}

TEST(Permissions, haveNoObstacleOnAnOrdinaryDisplay) {
  const XServer server{{.width = 320, .height = 240}};
  X11Permissions permissions([name = server.display()] { return name; });
  EXPECT_EQ(permissions.inputObstacle(), "");
  EXPECT_EQ(permissions.screenCaptureObstacle(), "");
  EXPECT_FALSE(permissions.hasPrompt());
}

TEST(Permissions, nameTheExtensionThatIsMissing) {
  const XServer server{{.width = 320, .height = 240, .withoutExtensions = {"XTEST", "DAMAGE", "XFIXES"}}};
  X11Permissions permissions([name = server.display()] { return name; });
  EXPECT_FALSE(permissions.mayPostInput());
  EXPECT_EQ(permissions.inputObstacle(), "The display lacks the extension XTEST.");
  EXPECT_FALSE(permissions.mayCaptureScreen());
  EXPECT_EQ(permissions.screenCaptureObstacle(), "The display lacks the extensions DAMAGE and XFIXES.");
}

TEST(Permissions, sayThatThereIsNoDisplay) {
  X11Permissions permissions(CountedName{});
  EXPECT_EQ(permissions.inputObstacle(), "There is no display.");
  EXPECT_EQ(permissions.screenCaptureObstacle(), "There is no display.");
}

TEST(Permissions, nameTheLimitsOfAWaylandSession) {
  X11Permissions permissions(CountedName{});
  ::setenv("XDG_SESSION_TYPE", "wayland", 1);
  EXPECT_EQ(permissions.limitation(),
            "This is a Wayland session. Quorl shows and controls X11 applications only. "
            "For the whole desktop choose Xorg at the login screen.");
  ::setenv("XDG_SESSION_TYPE", "x11", 1);
  EXPECT_EQ(permissions.limitation(), "");
  ::unsetenv("XDG_SESSION_TYPE");
}

}  // namespace
}  // namespace quorl::test
