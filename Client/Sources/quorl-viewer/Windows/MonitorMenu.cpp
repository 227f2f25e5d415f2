// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/MonitorMenu.h>

#include <QGuiApplication>
#include <QPointer>
#include <QScreen>

#include <quorl-viewer/Windows/PlainText.h>

namespace quorl::viewer {

namespace {

QString textOf(const QScreen& monitor) {
  const QSize pixels = monitor.size() * monitor.devicePixelRatio();
  return withoutMnemonics(
      QStringLiteral("%1, %2\u00d7%3").arg(monitor.name()).arg(pixels.width()).arg(pixels.height()));
}

}  // namespace

MonitorMenu::MonitorMenu(Choose choose, QMenu& parent)
    : QMenu(QStringLiteral("Full screen on"), &parent), choose_(std::move(choose)) {
  parent.addMenu(this);
  QObject::connect(&parent, &QMenu::aboutToShow, this, [this] { update(); });
  update();
}

void MonitorMenu::update() {
  const auto monitors = QGuiApplication::screens();
  menuAction()->setVisible(monitors.size() > 1);
  clear();
  for (auto* monitor : monitors) {
    auto* action = addAction(textOf(*monitor));
    // A monitor may be unplugged while the menu is open.
    QObject::connect(action, &QAction::triggered, this, [this, chosen = QPointer(monitor)] {
      if (chosen) choose_(*chosen);
    });
  }
}

}  // namespace quorl::viewer
