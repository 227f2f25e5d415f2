// SPDX-License-Identifier: GPL-3.0-or-later
#include "MenuApp.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QDesktopServices>
#include <QScreen>
#include <QTimer>
#include <QUrl>

#include <QuorlHostCore/Menu/Model/PanelPlace.h>

#include "Icons.h"
#include "Widgets.h"

namespace quorl {

namespace {

// A tray that reports a click when the button is released reports it this long after the press at most.
constexpr qint64 clickMilliseconds = 600;

constexpr const char* trayHost = "org.kde.StatusNotifierWatcher";

PointRect rectFrom(const QRect& rect) {
  return {{static_cast<double>(rect.x()), static_cast<double>(rect.y())},
          {static_cast<double>(rect.width()), static_cast<double>(rect.height())}};
}

}  // namespace

MenuApp::MenuApp(const Settings& settings)
    : channel_(settings.descriptor, {.received = [this](const MenuMessage& message) { received(message); },
                                     .ended = [] { QCoreApplication::quit(); }}),
      tray_(applicationIcon()) {
  tray_.setToolTip(QStringLiteral("Quorl Host"));
  QObject::connect(&tray_, &QSystemTrayIcon::activated, &tray_,
                   [this](QSystemTrayIcon::ActivationReason reason) {
                     // The second of two quick clicks is only a double click.
                     if (reason != QSystemTrayIcon::MiddleClick && reason != QSystemTrayIcon::Unknown)
                       togglePanel();
                   });
  tray_.show();
  lookForTray(settings.trayPatience);
  channel_.send(menuAction::Ready{});
}

MenuApp::~MenuApp() = default;

// The toolkit decides at its start how it shows tray icons, so that a tray that appears later over the bus
// needs another start, which the host makes. Trays of X11 are found by the toolkit at any time.
void MenuApp::lookForTray(std::chrono::milliseconds patience) {
  if (QSystemTrayIcon::isSystemTrayAvailable()) return;
  trayWatcher_ =
      std::make_unique<QDBusServiceWatcher>(QString::fromLatin1(trayHost), QDBusConnection::sessionBus(),
                                            QDBusServiceWatcher::WatchForRegistration);
  QObject::connect(trayWatcher_.get(), &QDBusServiceWatcher::serviceRegistered, trayWatcher_.get(),
                   [] { QCoreApplication::quit(); });
  QTimer::singleShot(patience, &tray_, [this] {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) channel_.send(menuAction::TrayMissing{});
  });
}

void MenuApp::received(const MenuMessage& message) {
  if (const auto* snapshot = std::get_if<menuMessage::Snapshot>(&message)) {
    if (snapshot->_0.popover) showPanel(*snapshot->_0.popover);
    if (snapshot->_0.setup) showSetup(*snapshot->_0.setup);
  } else if (std::holds_alternative<menuMessage::ShowPanel>(message)) {
    openPanel(std::nullopt);
  } else {
    requestSetup();
  }
}

void MenuApp::togglePanel() {
  if (panel_) {
    panel_->close();
  } else if (!hasJustClosedByTheIcon()) {
    openPanel(QCursor::pos());
  }
}

// The press of a second click on the icon is a click outside the panel and has closed it already.
bool MenuApp::hasJustClosedByTheIcon() const {
  if (!lastOutside_ || sinceOutside_.elapsed() > clickMilliseconds) return false;
  const QRect icon = tray_.geometry();
  return icon.isEmpty() ? (*lastOutside_ - QCursor::pos()).manhattanLength() < 4
                        : icon.contains(*lastOutside_);
}

// The panel appears with its first content.
void MenuApp::openPanel(std::optional<QPoint> pointer) {
  if (wantsPanel_) return;
  wantsPanel_ = true;
  pointer_ = pointer;
  channel_.send(menuAction::PanelOpened{});
}

void MenuApp::panelClosed(std::optional<QPoint> outside) {
  lastOutside_ = outside;
  sinceOutside_.start();
  wantsPanel_ = false;
  channel_.send(menuAction::PanelClosed{});
  if (panel_) panel_.release()->deleteLater();
}

void MenuApp::showPanel(const PopoverSnapshot& snapshot) {
  if (!wantsPanel_) return;
  const bool isNew = !panel_;
  if (isNew)
    panel_ = std::make_unique<PopoverPanel>(PopoverPanel::Handlers{
        .act = [this](const MenuAction& action) { channel_.send(action); },
        .openSetup = [this] { requestSetup(); },
        .closed = [this](std::optional<QPoint> outside) { panelClosed(outside); },
    });
  panel_->fill(snapshot);
  placePanel();
  if (!isNew) return;
  panel_->show();
  panel_->activateWindow();
}

void MenuApp::placePanel() {
  const QRect icon = tray_.geometry();
  const QScreen* screen = nullptr;
  if (!icon.isEmpty()) screen = QGuiApplication::screenAt(icon.center());
  if (screen == nullptr && pointer_) screen = QGuiApplication::screenAt(*pointer_);
  if (screen == nullptr) screen = QGuiApplication::primaryScreen();
  if (screen == nullptr) return;
  const PanelSurroundings around{rectFrom(screen->geometry()), rectFrom(screen->availableGeometry())};
  std::optional<PointXY> pointer;
  if (pointer_) pointer = PointXY{static_cast<double>(pointer_->x()), static_cast<double>(pointer_->y())};
  const PointRect anchor = icon.isEmpty() ? fallbackAnchor(around.screen, pointer) : rectFrom(icon);
  constexpr int gaps = 12;
  panel_->fit(screen->availableGeometry().height() - gaps);
  const auto place = panelPlace({static_cast<double>(panel_->width()), static_cast<double>(panel_->height())},
                                anchor, around);
  if (place) panel_->move(static_cast<int>(place->x), static_cast<int>(place->y));
}

void MenuApp::requestSetup() {
  wantsSetup_ = true;
  channel_.send(menuAction::SetupRequested{});
  if (panel_) panel_->close();
}

void MenuApp::showSetup(const SetupSnapshot& snapshot) {
  if (!setup_) {
    setup_ = std::make_unique<SetupWindow>(SetupWindow::Handlers{
        .act = [this](const MenuAction& action) { channel_.send(action); },
        .open = [](const std::string& url) { QDesktopServices::openUrl(QUrl(textFrom(url))); },
        .copy = [](const QString& text) { QGuiApplication::clipboard()->setText(text); },
        .closed = [this] { channel_.send(menuAction::SetupClosed{}); },
    });
    setup_->setWindowIcon(applicationIcon());
  }
  setup_->fill(snapshot);
  if (!std::exchange(wantsSetup_, false)) return;
  setup_->showNormal();
  setup_->raise();
  setup_->activateWindow();
  channel_.send(menuAction::SetupShown{setup_->isVisible()});
}

}  // namespace quorl
