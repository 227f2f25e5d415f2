// SPDX-License-Identifier: GPL-3.0-or-later
#include "WindowFixture.h"

#include <algorithm>
#include <map>
#include <tuple>

#include <QApplication>
#include <QLabel>

#include "Widgets.h"

namespace quorl::test {

bool spinUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    QApplication::processEvents(QEventLoop::AllEvents, 20);
  }
  return true;
}

void settle() {
  for (int round = 0; round < 3; ++round) QApplication::processEvents();
}

namespace {

QString textOf(const QWidget* widget) {
  if (const auto* label = dynamic_cast<const QLabel*>(widget)) return label->text();
  if (const auto* pin = dynamic_cast<const PINLabel*>(widget)) return pin->text();
  if (const auto* button = dynamic_cast<const QAbstractButton*>(widget)) return button->text();
  return {};
}

}  // namespace

std::vector<std::string> visibleTexts(const QWidget& window) {
  std::map<std::tuple<int, int, std::size_t>, const QWidget*> widgets;  // the order of equal places is kept
  for (const QWidget* widget : window.findChildren<QWidget*>()) {
    if (!widget->isVisibleTo(&window) || textOf(widget).isEmpty()) continue;
    const QPoint point = widget->mapTo(&window, QPoint());
    widgets.emplace(std::tuple(point.y(), point.x(), widgets.size()), widget);
  }
  std::vector<std::string> texts;
  for (const auto& [place, widget] : widgets) texts.push_back(textOf(widget).toStdString());
  return texts;
}

bool showsText(const QWidget& window, const std::string& text) {
  return std::ranges::count(visibleTexts(window), text) > 0;
}

QAbstractButton* visibleButton(const QWidget& window, const std::string& name) {
  const QString wanted = QString::fromStdString(name);
  for (QAbstractButton* button : window.findChildren<QAbstractButton*>())
    if (button->isVisibleTo(&window) && (button->text() == wanted || button->accessibleName() == wanted))
      return button;
  return nullptr;
}

PopoverSnapshot somePopover() {
  return {.title = "Quorl · workbench",
          .statusLine = "Waiting for a device…",
          .statusColor = MenuColor::orange,
          .reachability = "LAN only",
          .pin = "314159",
          .pairedDevices = "No paired devices yet",
          .consoleSession = "Console session: anna"};
}

SetupSnapshot someSetup() {
  SetupSnapshot setup;
  setup.overlayStatus = "LAN only — no overlay installed";
  setup.address = "workbench";
  setup.overlayAddresses = "—";
  setup.lanAddresses = "192.168.1.5";
  setup.ports = "session 47900 · relay 47901";
  setup.joinPayload = "quorl://join?host=192.168.1.5&port=47900&name=workbench";
  setup.pin = "314159";
  setup.permissions = {{.permission = MenuPermission::screenRecording,
                        .title = "Screen Recording",
                        .status = "Granted",
                        .isGranted = true},
                       {.permission = MenuPermission::accessibility,
                        .title = "Accessibility",
                        .status = "Not granted",
                        .isGranted = false}};
  setup.clients = "No clients connected.";
  return setup;
}

}  // namespace quorl::test
