// SPDX-License-Identifier: GPL-3.0-or-later
// A desktop of its own, with a window manager and without a bus or sound.
#include <gtest/gtest.h>
#include <QApplication>

#include <quorl-client/Video/Decoder.h>

#include "WindowFixture.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();
  quorl::test::XServer desktop(
      {.width = 1280, .height = 900, .windowManager = quorl::test::XServer::WindowManager::openbox});
  quorl::viewer::test::useDesktop(desktop);
  qputenv("DISPLAY", desktop.display().c_str());
  qputenv("QT_QPA_PLATFORM", "xcb");
  qputenv("PULSE_SERVER", "unix:/nowhere");
  // The toolkit's own input method, for dead keys, with the table of UTF-8.
  qputenv("QT_IM_MODULE", "compose");
  qputenv("LC_ALL", "C.UTF-8");
  qunsetenv("WAYLAND_DISPLAY");
  qunsetenv("DBUS_SESSION_BUS_ADDRESS");
  quorl::client::silenceMediaLibraries();
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setQuitOnLastWindowClosed(false);
  return RUN_ALL_TESTS();
}
