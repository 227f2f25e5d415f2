// SPDX-License-Identifier: GPL-3.0-or-later
#include "DesktopShade.h"

#include <optional>

#include <QDBusConnection>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QPalette>

namespace quorl {

namespace {

constexpr const char* portal = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* settings = "org.freedesktop.portal.Settings";
constexpr const char* appearance = "org.freedesktop.appearance";
constexpr int portalMilliseconds = 300;

// The portal's values: 0 no preference, 1 dark, 2 light.
std::optional<Shade> shadeOf(const QVariant& value) {
  QVariant inner = value;
  while (inner.canConvert<QDBusVariant>()) inner = inner.value<QDBusVariant>().variant();
  bool isNumber = false;
  const unsigned scheme = inner.toUInt(&isNumber);
  if (!isNumber || scheme == 0) return std::nullopt;
  return scheme == 1 ? Shade::dark : Shade::light;
}

std::optional<Shade> portalShade() {
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return std::nullopt;
  QDBusMessage question = QDBusMessage::createMethodCall(portal, portalPath, settings, "Read");
  question << appearance << "color-scheme";
  question.setAutoStartService(false);
  const QDBusMessage answer = bus.call(question, QDBus::Block, portalMilliseconds);
  if (answer.type() != QDBusMessage::ReplyMessage || answer.arguments().isEmpty()) return std::nullopt;
  return shadeOf(answer.arguments().first());
}

Shade paletteShade() {
  return QGuiApplication::palette().color(QPalette::Window).lightness() < 128 ? Shade::dark : Shade::light;
}

}  // namespace

DesktopShade::DesktopShade(std::function<void(Shade)> changed)
    : changed_(std::move(changed)), unstated_(paletteShade()), current_(unstated_) {
  // Before the question, so that no change is missed.
  QDBusConnection::sessionBus().connect(QString::fromLatin1(portal), QString::fromLatin1(portalPath),
                                        QString::fromLatin1(settings), QStringLiteral("SettingChanged"), this,
                                        SLOT(settingChanged(QDBusMessage)));
  current_ = portalShade().value_or(unstated_);
}

// Arguments: group, key, value.
void DesktopShade::settingChanged(const QDBusMessage& signal) {
  const QVariantList arguments = signal.arguments();
  if (arguments.size() != 3 || arguments[0].toString() != QLatin1String(appearance) ||
      arguments[1].toString() != QLatin1String("color-scheme"))
    return;
  const Shade shade = shadeOf(arguments[2]).value_or(unstated_);
  if (shade == current_) return;
  current_ = shade;
  changed_(shade);
}

}  // namespace quorl
