// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <QuorlHostCore/Concurrency/SimulatedScheduler.h>
#include <QuorlHostCore/Ports/Permissions.h>
#include <QuorlHostCore/Ports/ScreenCapture.h>

#include "Desktops.h"

namespace quorl {
namespace {

Environment with(std::optional<std::string> display) {
  return [display = std::move(display)](const char* name) {
    return std::string_view(name) == "DISPLAY" ? display : std::nullopt;
  };
}

TEST(Desktops, X11ServesASessionThatNamesAServer) {
  EXPECT_EQ(desktopFor(with(":0")).name, "X11");
}

TEST(Desktops, aSessionWithoutAServerHasNoScreen) {
  EXPECT_EQ(desktopFor(with(std::nullopt)).name, "none");
  EXPECT_EQ(desktopFor(with("")).name, "none");
}

TEST(Desktops, onlyX11HasWindowsApplicationsAndDisplays) {
  SimulatedScheduler scheduler;
  Platform x11;
  x11.scheduler = &scheduler;
  desktopFor(with(":0")).addTo(x11);
  EXPECT_TRUE(x11.windows && x11.runningApplications && x11.displays);
  Platform none;
  none.scheduler = &scheduler;
  desktopFor(with(std::nullopt)).addTo(none);
  EXPECT_FALSE(none.windows || none.runningApplications || none.displays);
}

TEST(Desktops, withoutAScreenNothingIsPermitted) {
  SimulatedScheduler scheduler;
  Platform platform;
  platform.scheduler = &scheduler;
  addNoDesktop(platform);
  EXPECT_FALSE(platform.permissions->mayCaptureScreen());
  EXPECT_FALSE(platform.permissions->mayPostInput());
  bool failed = false;
  platform.screen->geometry(DisplayFilter{}, [&](const auto& geometry) { failed = !geometry; });
  scheduler.runReady();
  EXPECT_TRUE(failed);
}

}  // namespace
}  // namespace quorl
