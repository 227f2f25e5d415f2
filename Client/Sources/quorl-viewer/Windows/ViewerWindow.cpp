// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/ViewerWindow.h>

#include <algorithm>

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

#include <quorl-viewer/Windows/PictureFile.h>
#include <quorl-viewer/Windows/PlainText.h>

namespace quorl::viewer {

namespace {

using namespace std::chrono_literals;

constexpr auto noticeTime = 5s;

ScaleMode modeOf(ScaleChoice choice) {
  switch (choice) {
    case ScaleChoice::fit:
      return ScaleMode::fit;
    case ScaleChoice::exact:
      return ScaleMode::exact;
    case ScaleChoice::fixed:
      return ScaleMode::fixed;
  }
  return ScaleMode::fit;
}

GrabPolicy policyOf(GrabChoice choice) {
  switch (choice) {
    case GrabChoice::never:
      return GrabPolicy::never;
    case GrabChoice::inFullScreen:
      return GrabPolicy::inFullScreen;
    case GrabChoice::whenFocused:
      return GrabPolicy::whenFocused;
  }
  return GrabPolicy::never;
}

PointerDrawing drawingOf(PointerChoice choice) {
  return choice == PointerChoice::atHost ? PointerDrawing::atHost : PointerDrawing::here;
}

QScreen* screenNamed(const std::optional<std::string>& name) {
  if (!name) return nullptr;
  const auto screens = QGuiApplication::screens();
  const auto found = std::ranges::find_if(
      screens, [&](const QScreen* screen) { return screen->name().toStdString() == *name; });
  return found == screens.end() ? nullptr : *found;
}

}  // namespace

ViewerWindow::ViewerWindow(client::PairedHost host, DeviceInfo device, const Start& start)
    : keeper_(start.folder, host.deviceID,
              [this](const client::ClientError& error) { showNotice(plain(error)); }),
      hostName_(plain(host.name)) {
  setAttribute(Qt::WA_DeleteOnClose);
  keeper_.changeForNow([&](HostSettings& settings) {
    settings.isFullScreen = settings.isFullScreen || start.isFullScreen;
    settings.isMuted = settings.isMuted || start.isMuted;
  });
  makeView();
  makeInput();
  makeControls(start.openHosts);
  makeTargets();
  makeShortcuts();
  const auto endpoint = host.endpoint().text();
  desk_ = std::make_unique<AgentDesk>(endpoint);
  overlay_ = new LinkOverlay(hostName_, plain(endpoint),
                             {.reconnectNow = [this] { session_->reconnectNow(); },
                              .retryNow = [this] { retryStream(); },
                              .cancel = [this] { session_->cancel(); }},
                             view_);
  makeClipboard();
  makeSession(std::move(host), std::move(device));
  overlay_->show(LinkStatus{.state = LinkStatus::State::connecting, .since = Clock::now()});
  restoreGeometry();
  apply(keeper_.settings());
  begin(start);
  view_->setFocus();
}

ViewerWindow::~ViewerWindow() {
  isClosing_ = true;
  // While all parts are there, because the picture gets events of it.
  hide();
  focus_.reset();
  input_->releaseAll();
  keyboard_->letGo();
}

StreamConfig ViewerWindow::streamConfig() const {
  return {.maxDimension = 8'192,
          .maxFPS = 60,
          .codec = VideoCodec::h264,
          .quality = 0.8,
          .showsCursor = streamShowsPointer(drawingOf(keeper_.settings().pointer))};
}

void ViewerWindow::change(const SettingsKeeper::Change& change) {
  keeper_.change(change);
  apply(keeper_.settings());
}

// Only what differs: a repeated choice of a policy would undo what the chord has done.
void ViewerWindow::apply(const HostSettings& settings) {
  const auto before = std::exchange(applied_, settings);
  const auto differs = [&](auto member) { return !before || (*before).*member != settings.*member; };
  controls_->show(settings);
  if (differs(&HostSettings::scale) || differs(&HostSettings::scaleFactor))
    view_->setScale(modeOf(settings.scale), settings.scaleFactor);
  if (differs(&HostSettings::isMuted)) session_->setMuted(settings.isMuted);
  if (differs(&HostSettings::keyboard)) {
    const bool isText = settings.keyboard == KeyboardChoice::text;
    input_->setMode(isText ? KeyboardMode::text : KeyboardMode::keys);
    view_->setAttribute(Qt::WA_InputMethodEnabled, isText);
  }
  if (differs(&HostSettings::grab)) input_->setGrabPolicy(policyOf(settings.grab));
  if (differs(&HostSettings::pointer)) {
    view_->setCursor(viewHidesPointer(drawingOf(settings.pointer)) ? Qt::BlankCursor : Qt::ArrowCursor);
    session_->update(streamConfig());
  }
  clipboard_->setRules({settings.sendsClipboard, settings.takesClipboard, settings.sendsPrimary});
  if (settings.isFullScreen != (before && before->isFullScreen)) applyFullScreen(settings.isFullScreen);
}

void ViewerWindow::setFullScreen(bool isFullScreen) {
  change([isFullScreen](HostSettings& settings) { settings.isFullScreen = isFullScreen; });
}

void ViewerWindow::showFullScreenOn(QScreen& monitor) {
  // A window manager keeps a full-screen window where it is.
  if (isFullScreen()) showNormal();
  moveTo(monitor);
  if (keeper_.settings().isFullScreen)
    applyFullScreen(true);
  else
    setFullScreen(true);
}

void ViewerWindow::setMuted(bool isMuted) {
  change([isMuted](HostSettings& settings) { settings.isMuted = isMuted; });
}

void ViewerWindow::applyFullScreen(bool isFullScreen) {
  edge_->setFullScreen(isFullScreen);
  input_->setFullScreen(isFullScreen);
  if (!isFullScreen) {
    showNormal();
  } else {
    // On the monitor where the window is, or on the one of the last time before the window is open.
    auto* monitor = isVisible() ? screen() : screenNamed(keeper_.settings().monitor);
    if (monitor != nullptr) {
      if (monitor != screen()) moveTo(*monitor);
      keeper_.change([&](HostSettings& settings) { settings.monitor = monitor->name().toStdString(); });
    }
    showFullScreen();
  }
  view_->setFocus();
}

void ViewerWindow::moveTo(QScreen& monitor) {
  const QRect room = monitor.availableGeometry();
  QRect place({}, size().boundedTo(room.size()));
  place.moveCenter(room.center());
  setScreen(&monitor);
  setGeometry(place);
}

// The window manager has changed the state, by a key or a button of its own.
void ViewerWindow::followWindowState() {
  if (isMinimized() || isFullScreen() == keeper_.settings().isFullScreen) return;
  setFullScreen(isFullScreen());
}

void ViewerWindow::restoreGeometry() {
  const auto& window = keeper_.settings().window;
  if (!window) return;
  const QRect geometry(static_cast<int>(window->origin.x), static_cast<int>(window->origin.y),
                       static_cast<int>(window->size.width), static_cast<int>(window->size.height));
  const auto screens = QGuiApplication::screens();
  const auto seen = std::ranges::find_if(
      screens, [&](const QScreen* screen) { return screen->availableGeometry().intersects(geometry); });
  if (seen == screens.end()) return;
  const QRect room = (*seen)->availableGeometry();
  setGeometry(QRect(geometry.topLeft(), geometry.size().boundedTo(room.size())));
}

void ViewerWindow::geometryChanged() {
  if (!isVisible() || isFullScreen() || isMaximized() || isMinimized() || keeper_.settings().isFullScreen)
    return;
  const QRect now = geometry();
  keeper_.change([&](HostSettings& settings) {
    settings.window =
        PointRect{{double(now.x()), double(now.y())}, {double(now.width()), double(now.height())}};
  });
}

void ViewerWindow::moveEvent(QMoveEvent* event) {
  QMainWindow::moveEvent(event);
  geometryChanged();
}

void ViewerWindow::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  geometryChanged();
}

void ViewerWindow::changeEvent(QEvent* event) {
  if (event->type() == QEvent::WindowStateChange && session_) {
    visibilityChanged();
    input_->releaseAll();
    stateTimer_.start();
  }
  QMainWindow::changeEvent(event);
}

void ViewerWindow::visibilityChanged() {
  session_->setHidden(isMinimized() || !isViewVisible_);
}

void ViewerWindow::statusChanged(const LinkStatus& status) {
  const bool wasConnected = std::exchange(isConnected_, status.state == LinkStatus::State::connected ||
                                                            status.state == LinkStatus::State::stalled);
  overlay_->show(status);
  input_->setStalled(status.state == LinkStatus::State::stalled);
  if (isConnected_ == wasConnected) return;
  if (isConnected_) {
    input_->connected();
    session_->send(ControlMessage(message::RequestHostState{}));
    session_->send(ControlMessage(message::RequestAgentList{}));
    clipboard_->connected();
    // The others start again by themselves.
    if (isRetrying_) retryStream();
  } else {
    clipboard_->disconnected();
    agents_.clear();
    agentsChanged();
  }
}

void ViewerWindow::messageArrived(const ControlMessage& message) {
  if (clipboard_->take(message)) return;
  if (const auto* state = std::get_if<message::HostState>(&message)) {
    hostStateArrived(state->_0);
  } else if (const auto* list = std::get_if<message::AgentList>(&message)) {
    agents_.take(list->_0);
    agentsChanged();
  } else if (const auto* event = std::get_if<message::AgentEvent>(&message)) {
    if (const auto notice = agents_.take(event->_0)) desk_->notify(*notice);
    agentsChanged();
  } else if (const auto* error = std::get_if<message::Error>(&message)) {
    showNotice(plain(error->_0.message));
  }
}

void ViewerWindow::showNotice(const QString& text) {
  notice_->show(text, noticeTime);
}

void ViewerWindow::setStatisticsShown(bool isShown) {
  controls_->setStatisticsShown(isShown);
  session_->setMeasuring(isShown);
  statistics_->setShown(isShown);
  view_->setFocus();
}

void ViewerWindow::savePicture() {
  if (!view_->hasPicture()) return showNotice(QStringLiteral("There is no picture yet"));
  // Of now, not of the moment when the dialog is closed.
  const QString result = saveWithDialog(copyOf(*view_->picture()), this);
  if (!result.isEmpty()) showNotice(result);
}

void ViewerWindow::record(bool isWanted) {
  if (!isWanted) {
    session_->stopRecording();
  } else if (!view_->hasPicture()) {
    showNotice(QStringLiteral("There is no picture yet"));
  } else if (const QString path = askForRecording(this); !path.isEmpty()) {
    session_->startRecording(path.toStdString());
  }
  controls_->setRecording(session_->isRecording());
  view_->setFocus();
}

void ViewerWindow::recordingEnded(const client::Outcome<Recorded>& result) {
  controls_->setRecording(false);
  showNotice(recordingText(result));
}

void ViewerWindow::perform(WindowCommand command) {
  switch (command) {
    case WindowCommand::fullScreen:
      return setFullScreen(!keeper_.settings().isFullScreen);
    case WindowCommand::controls:
      edge_->reveal();
      return controls_->targets().setFocus(Qt::ShortcutFocusReason);
    case WindowCommand::targets:
      return openTargets();
    case WindowCommand::nextAgent:
      return openTerminal(agents_.next());
    case WindowCommand::statistics:
      return setStatisticsShown(!controls_->isStatisticsShown());
    case WindowCommand::showLeft:
      return pan_->showSide(-1, 0);
    case WindowCommand::showRight:
      return pan_->showSide(1, 0);
    case WindowCommand::showTop:
      return pan_->showSide(0, -1);
    case WindowCommand::showBottom:
      return pan_->showSide(0, 1);
  }
}

}  // namespace quorl::viewer
