// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <QApplication>

#include "Theme.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qunsetenv("DBUS_SESSION_BUS_ADDRESS");
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setQuitOnLastWindowClosed(false);
  quorl::Theme::use(quorl::Shade::light, application);
  return RUN_ALL_TESTS();
}
