// SPDX-License-Identifier: GPL-3.0-or-later
// A compositor of its own, without a bus or sound.
#include <gtest/gtest.h>
#include <QApplication>

#include <quorl-client/Video/Decoder.h>

#include "WaylandFixture.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (testing::GTEST_FLAG(list_tests) || !quorl::test::hasProgram("sway")) return RUN_ALL_TESTS();
  quorl::viewer::test::WaylandDesktop desktop;
  quorl::viewer::test::useDesktop(&desktop);
  qputenv("WAYLAND_DISPLAY", desktop.sway.display().c_str());
  qputenv("XDG_RUNTIME_DIR", desktop.sway.runtimeFolder().c_str());
  qputenv("QT_QPA_PLATFORM", "wayland");
  qputenv("PULSE_SERVER", "unix:/nowhere");
  qunsetenv("DISPLAY");
  qunsetenv("DBUS_SESSION_BUS_ADDRESS");
  quorl::client::silenceMediaLibraries();
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setQuitOnLastWindowClosed(false);
  return RUN_ALL_TESTS();
}
