// SPDX-License-Identifier: GPL-3.0-or-later
// The tray icon, the popover and the setup window of the host, as a program that the host starts. Its
// standard input is a socket to the host; it ends when the host does.
#include <cstdlib>
#include <optional>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <QApplication>

#include <fmt/format.h>

#include "Accessibility.h"
#include "DesktopShade.h"
#include "Icons.h"
#include "MenuApp.h"
#include "Theme.h"

namespace {

using namespace quorl;

// The host reads only that it ended; the numbers are for its log.
constexpr int notStartedByHost = 2;
constexpr int noDisplay = 3;

bool isSocket(int descriptor) {
  struct stat facts{};
  return ::fstat(descriptor, &facts) == 0 && S_ISSOCK(facts.st_mode);
}

// Without a display the toolkit aborts.
bool displayAnswers() {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  const bool answers = xcb_connection_has_error(connection) == 0;
  xcb_disconnect(connection);
  return answers;
}

bool drawsOnX11() {
  const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
  return platform.isEmpty() || platform.startsWith("wayland") || platform.startsWith("xcb");
}

std::optional<QString> option(const QStringList& arguments, const char* name) {
  const auto index = arguments.indexOf(QString::fromLatin1(name));
  if (index < 0 || index + 1 >= arguments.size()) return std::nullopt;
  return arguments.at(index + 1);
}

// An option for pictures: what the desktop reports otherwise.
std::optional<Shade> shadeFrom(const QStringList& arguments) {
  const auto shade = option(arguments, "--shade");
  if (!shade) return std::nullopt;
  return *shade == QLatin1String("dark") ? Shade::dark : Shade::light;
}

MenuApp::Settings settingsFrom(const QStringList& arguments) {
  MenuApp::Settings settings;
  settings.descriptor = STDIN_FILENO;
  if (const auto patience = option(arguments, "--tray-patience"))
    settings.trayPatience = std::chrono::milliseconds(patience->toInt());
  return settings;
}

}  // namespace

int main(int argc, char** argv) {
  if (!isSocket(STDIN_FILENO)) {
    fmt::print(stderr, "quorl_host_menu: quorl_host starts this program; start quorl_host instead\n");
    return notStartedByHost;
  }
  if (drawsOnX11()) {
    if (!displayAnswers()) return noDisplay;
    qputenv("QT_QPA_PLATFORM", "xcb");
  }
  QApplication application(argc, argv);
  QApplication::setApplicationName(QStringLiteral("quorl_host_menu"));
  QApplication::setDesktopFileName(QStringLiteral("dev.vek.quorl.host"));
  QApplication::setQuitOnLastWindowClosed(false);
  const auto fixedShade = shadeFrom(QApplication::arguments());
  const DesktopShade desktop([&](Shade shade) {
    if (!fixedShade) Theme::use(shade, application);
  });
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setWindowIcon(applicationIcon());
  describeDrawnWidgets();
  Theme::use(fixedShade.value_or(desktop.current()), application);
  const MenuApp app(settingsFrom(QApplication::arguments()));
  return QApplication::exec();
}
