// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Application/ViewerApplication.h>

#include <QApplication>
#include <QWindow>

#include <fmt/format.h>

#include <quorl-client/Base/Printable.h>
#include <quorl-client/Hosts/PairedSession.h>
#include <quorl-viewer/Application/PairingDialog.h>
#include <quorl-viewer/Application/StartWindow.h>
#include <quorl-viewer/Start/LastUsed.h>
#include <quorl-viewer/Windows/DetachedProgram.h>

namespace quorl::viewer {
namespace {

// Names the window that asks for the focus, for a desktop that keeps it otherwise (Wayland).
constexpr std::string_view activationOption = "--activation=";

std::vector<std::string> wordsForFirst(const ViewerOptions& options) {
  auto words = wordsOf(options);
  const auto token = qEnvironmentVariable("XDG_ACTIVATION_TOKEN").toStdString();
  if (!token.empty()) words.insert(words.begin(), std::string(activationOption) + token);
  return words;
}

void showHosts() {
  startDetached(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--hosts"), QStringLiteral("--dialogs")});
}

void showAndRaise(QWidget& window) {
  window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
  window.show();
  window.raise();
  window.activateWindow();
}

}  // namespace

ViewerApplication::ViewerApplication(ViewerOptions options, std::filesystem::path folder)
    : options_(std::move(options)), folder_(std::move(folder)), book_(folder_) {}

ViewerApplication::~ViewerApplication() {
  delete window_;
}

void ViewerApplication::end() {
  isEnding_ = true;
  // Also the question that a dialog asks.
  for (auto* widget : QApplication::topLevelWidgets())
    if (auto* dialog = qobject_cast<QDialog*>(widget)) dialog->reject();
  QApplication::quit();
}

client::Outcome<void> ViewerApplication::run() {
  const auto contents = book_.load();
  if (!contents) return std::unexpected(contents.error());
  if (options_.wantsHosts) return choose();
  const auto host = chosenHost(options_, *contents);
  if (host) return *host ? open(**host) : choose();
  const auto address = client::HostAddress::parse(options_.host);
  if (!options_.mayPair || !address) return std::unexpected(host.error());
  const auto paired = pairWith(*address, PairingDialog::Wish::link);
  return paired ? open(*paired) : client::Outcome<void>();
}

// Until a window opens or the person closes the list.
client::Outcome<void> ViewerApplication::choose() {
  while (!isEnding_) {
    StartWindow start(book_, folder_);
    if (!runDialog(start)) break;
    const auto contents = book_.load();
    if (!contents) return std::unexpected(contents.error());
    if (const auto* known = contents->find(start.chosen()->text())) return open(*known);
    if (const auto paired = pairWith(*start.chosen(), PairingDialog::Wish::person)) return open(*paired);
  }
  return {};
}

std::optional<client::PairedHost> ViewerApplication::pairWith(const client::HostAddress& address,
                                                              PairingDialog::Wish wish) {
  PairingDialog dialog(address, book_, wish);
  return runDialog(dialog) ? dialog.paired() : std::nullopt;
}

bool ViewerApplication::runDialog(QDialog& dialog) {
  // Another window follows it.
  QApplication::setQuitOnLastWindowClosed(false);
  return dialog.exec() == QDialog::Accepted;
}

client::Outcome<void> ViewerApplication::open(const client::PairedHost& host) {
  instance_ = std::make_unique<SingleInstance>(SingleInstance::defaultFolder(), host.deviceID);
  const auto first = instance_->becomeFirst(
      [this](const std::vector<std::string>& words) { return apply(words); }, wordsForFirst(options_));
  if (!first) return std::unexpected(first.error());
  if (*first == SingleInstance::Role::later) return {};
  const auto contents = book_.load();
  if (!contents) return std::unexpected(contents.error());
  LastUsed(folder_).note(host.deviceID);
  // Deletes itself when it is closed, which ends the application.
  window_ = new ViewerWindow(host, client::clientDevice(contents->deviceID),
                             {.target = options_.target,
                              .wanted = options_.wanted,
                              .isFullScreen = options_.isFullScreen,
                              .isMuted = options_.isMuted,
                              .folder = folder_,
                              .openHosts = showHosts});
  QApplication::setQuitOnLastWindowClosed(true);
  window_->show();
  if (!isEnding_) QApplication::exec();
  return {};
}

bool ViewerApplication::apply(const std::vector<std::string>& words) {
  // A window that is closed goes soon, and the next one is another process's.
  if (!window_ || window_->isHidden() || isEnding_) return false;
  std::span<const std::string> rest(words);
  if (!rest.empty() && rest.front().starts_with(activationOption)) {
    // The toolkit takes the token from the environment alone, and only there.
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
      qputenv("XDG_ACTIVATION_TOKEN",
              QByteArray::fromStdString(rest.front().substr(activationOption.size())));
    rest = rest.subspan(1);
  }
  const auto options = ViewerOptions::parse(rest);
  if (!options) return true;
  if (options->target)
    window_->watch(*options->target);
  else if (options->wanted)
    window_->watch(*options->wanted);
  if (options->isMuted) window_->setMuted(true);
  if (options->isFullScreen) window_->setFullScreen(true);
  showAndRaise(*window_);
  return true;
}

}  // namespace quorl::viewer
