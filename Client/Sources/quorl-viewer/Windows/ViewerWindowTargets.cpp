// SPDX-License-Identifier: GPL-3.0-or-later
// What is watched, and the lists of the host.
#include <quorl-viewer/Windows/ViewerWindow.h>

#include <QApplication>
#include <QStyle>

#include <quorl-viewer/Windows/PlainText.h>

namespace quorl::viewer {

namespace {

constexpr int iconPause = 700;  // ms until the host is asked again for icons

}  // namespace

void ViewerWindow::begin(const Start& start) {
  if (start.target) return watch(*start.target);
  if (start.wanted) return watch(*start.wanted);
  const auto remembered = parseTarget(keeper_.settings().target);
  choice_.want(remembered.value_or(viewTarget::MainDisplay{}), TargetChoice::Missing::showsMainDisplay);
  watchChosen();
}

void ViewerWindow::watch(const StreamTarget& target) {
  choice_.choose(target);
  choice_.update(rows_);
  watchChosen();
}

void ViewerWindow::watch(const ViewTarget& target) {
  choice_.want(target);
  choice_.update(rows_);
  watchChosen();
}

void ViewerWindow::watchChosen() {
  input_->releaseAll();
  retry_ = {};
  isRetrying_ = false;
  retryTimer_.stop();
  if (choice_.target())
    startStream();
  else
    session_->unwatch();
  view_->clear();
  overlay_->clearStreamError();
  overlay_->showWaiting(choice_.waitsFor());
  rememberTarget();
  titleChanged();
}

void ViewerWindow::startStream() {
  session_->watch(*choice_.target(), streamConfig(), view_->viewSize());
  input_->setStream(session_->stream());
}

void ViewerWindow::streamShown() {
  overlay_->clearStreamError();
  retry_.shown();
  isRetrying_ = false;
}

// A display comes back after its cable, and a window that is hidden now may be shown later.
void ViewerWindow::streamFailed(const client::ClientError& error) {
  input_->releaseAll();
  session_->unwatch();
  view_->clear();
  if (error.code != client::ExitCode::timedOut) choice_.ended();
  isRetrying_ = choice_.target().has_value();
  if (!isRetrying_) return overlay_->showStreamError(error, std::nullopt);
  const auto pause = retry_.failed();
  retryTimer_.start(pause);
  overlay_->showStreamError(error, Clock::now() + pause);
}

void ViewerWindow::retryStream() {
  retryTimer_.stop();
  if (!isRetrying_ || !isConnected_ || !choice_.target()) return;
  overlay_->showStreamAttempt();
  startStream();
}

void ViewerWindow::rememberTarget() {
  const auto* window = std::get_if<viewTarget::Window>(&choice_.wanted());
  // Its title comes with the next list.
  if (window != nullptr && window->title.empty()) return;
  keeper_.change([this](HostSettings& settings) { settings.target = textOf(choice_.wanted()); });
}

void ViewerWindow::hostStateArrived(const HostState& state) {
  const bool hasNewIcons = icons_.take(state);
  if (icons_.shouldAskAgain(state)) iconTimer_.start(iconPause);
  auto rows = targetRows(state);
  const bool isOther = rows != rows_;
  const auto has = [&](const std::vector<TargetRow>& list) {
    return choice_.target() && findRow(list, *choice_.target()) != nullptr;
  };
  const bool isBack = !has(rows_) && has(rows);
  rows_ = std::move(rows);
  if (choice_.update(rows_)) return watchChosen();
  if (isBack) retryStream();
  if (!isOther && !hasNewIcons) return;
  rememberTarget();
  titleChanged();
}

void ViewerWindow::agentsChanged() {
  controls_->targets().setWaiting(agents_.waiting());
}

void ViewerWindow::openTargets() {
  edge_->reveal();
  const auto& button = controls_->targets();
  popup_->open({rows_, agents_.rows(), choice_.target().value_or(streamTarget::Unified{})},
               button.mapToGlobal(QPoint(0, button.height())));
}

void ViewerWindow::openTerminal(const std::optional<UUID>& agent) {
  if (!agent) return showNotice(QStringLiteral("No agent waits for you"));
  const QString problem = desk_->openTerminal(*agent);
  if (!problem.isEmpty()) showNotice(problem);
}

QIcon ViewerWindow::iconOf(const TargetRow& row) const {
  auto icon = icons_.icon(row.bundleID);
  if (!icon.isNull()) return icon;
  if (row.kind == TargetRow::Kind::display)
    return QIcon::fromTheme(QStringLiteral("video-display"), style()->standardIcon(QStyle::SP_DesktopIcon));
  return QIcon::fromTheme(QStringLiteral("application-x-executable"));
}

void ViewerWindow::titleChanged() {
  const auto* row = choice_.target() ? findRow(rows_, *choice_.target()) : nullptr;
  const QString shown = row != nullptr       ? QString::fromStdString(row->title)
                        : choice_.waitsFor() ? QString::fromStdString(*choice_.waitsFor())
                                             : QStringLiteral("Another target");
  controls_->targets().showTarget(shown, row != nullptr ? iconOf(*row) : QIcon());
  const bool isDisplay = row == nullptr || row->kind == TargetRow::Kind::display;
  setWindowTitle(asWindowTitle(isDisplay ? hostName_ : QStringLiteral("%1, %2").arg(shown, hostName_)));
  const auto icon = isDisplay ? QIcon() : icons_.icon(row->bundleID);
  setWindowIcon(icon.isNull() ? QApplication::windowIcon() : icon);
}

}  // namespace quorl::viewer
