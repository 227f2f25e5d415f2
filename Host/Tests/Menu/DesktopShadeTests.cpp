// SPDX-License-Identifier: GPL-3.0-or-later
// A program of its own: the toolkit connects to the session bus once, when the application is made.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

#include "DesktopShade.h"
#include "Linux/System/PrivateSessionBus.h"
#include "WindowFixture.h"

namespace quorl::test {
namespace {

using testing::ElementsAre;

/// The signals of the desktop's settings portal.
class Portal {
 public:
  explicit Portal(const std::string& address)
      : bus_(QDBusConnection::connectToBus(QString::fromStdString(address), QStringLiteral("portal"))) {
    EXPECT_TRUE(bus_.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
  }
  void report(const char* group, const char* key, unsigned value) {
    QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/portal/desktop"),
                                                     QStringLiteral("org.freedesktop.portal.Settings"),
                                                     QStringLiteral("SettingChanged"));
    signal << group << key << QVariant::fromValue(QDBusVariant(value));
    bus_.send(signal);
  }
  void reportScheme(unsigned value) { report("org.freedesktop.appearance", "color-scheme", value); }

 private:
  QDBusConnection bus_;
};

TEST(DesktopShade, followsTheSettingsPortal) {
  Portal portal(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS").toStdString());
  std::vector<Shade> changes;
  const DesktopShade desktop([&](Shade shade) { changes.push_back(shade); });
  EXPECT_EQ(desktop.current(), Shade::light) << "the toolkit's palette, because the portal has no answer";
  portal.reportScheme(1);
  ASSERT_TRUE(spinUntil([&] { return changes.size() == 1; }));
  EXPECT_EQ(desktop.current(), Shade::dark);
  portal.reportScheme(1);
  portal.report("org.freedesktop.appearance", "contrast", 2);
  portal.report("org.gnome.desktop.interface", "color-scheme", 2);
  portal.reportScheme(0);
  ASSERT_TRUE(spinUntil([&] { return changes.size() == 2; }));
  EXPECT_THAT(changes, ElementsAre(Shade::dark, Shade::light)) << "other settings are ignored";
}

}  // namespace
}  // namespace quorl::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  const quorl::test::PrivateSessionBus bus;
  if (!bus.isRunning()) return 1;
  const QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
