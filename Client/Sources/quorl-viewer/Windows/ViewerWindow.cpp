// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/ViewerWindow.h>

#include <QAbstractItemView>
#include <QAction>
#include <QComboBox>
#include <QDateTime>
#include <QEvent>
#include <QFileDialog>
#include <QFontDatabase>
#include <QImage>
#include <QMenu>
#include <QStandardPaths>
#include <QToolBar>
#include <QToolButton>
#include <QWindow>

#include <quorl-client/Base/Printable.h>
#include <quorl-viewer/Windows/StatisticsText.h>

namespace quorl::viewer {

namespace {

using namespace std::chrono_literals;

constexpr auto noticeTime = 5s;
constexpr int resizePause = 150;      // ms: the host is asked for a shape once the size has settled
constexpr int statisticsPause = 500;  // ms
constexpr StreamConfig wantedConfig{.maxDimension = 8'192,
                                    .maxFPS = 60,
                                    .codec = VideoCodec::h264,
                                    .quality = 0.8,
                                    .showsCursor = streamShowsPointer(PointerDrawing::here)};

QString plain(const std::string& text) {
  return QString::fromStdString(client::printable(text));
}

QString textOf(const client::ClientError& error) {
  return plain(error.advice.empty() ? error.what : error.what + ". " + error.advice);
}

}  // namespace

ViewerWindow::ViewerWindow(client::PairedHost host, DeviceInfo device, const Start& start)
    : target_(start.target.value_or(streamTarget::Unified{})), hostName_(plain(host.name)) {
  setAttribute(Qt::WA_DeleteOnClose);
  makeView();
  makeControls();
  makeSession(std::move(host), std::move(device));
  overlay_ = new LinkOverlay(
      hostName_, plain(session_->host().endpoint().text()),
      {.reconnectNow = [this] { session_->reconnectNow(); }, .cancel = [this] { session_->cancel(); }},
      view_);
  notice_ = new Banner(Banner::Place::top, view_);
  chord_ = new Banner(Banner::Place::top, view_);
  statistics_ = new Banner(Banner::Place::topLeft, view_);
  statistics_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  resizeTimer_.setSingleShot(true);
  resizeTimer_.setInterval(resizePause);
  QObject::connect(&resizeTimer_, &QTimer::timeout, this,
                   [this] { session_->resizeView(view_->viewSize()); });
  statisticsTimer_.setInterval(statisticsPause);
  QObject::connect(&statisticsTimer_, &QTimer::timeout, this, [this] { showStatistics(); });
  overlay_->show(LinkStatus{.state = LinkStatus::State::connecting, .since = Clock::now()});
  session_->setMuted(start.isMuted);
  titleChanged();
  if (start.isFullScreen) setFullScreen(true);
  if (start.wanted && !start.target)
    watch(*start.wanted);
  else
    watch(target_);
}

ViewerWindow::~ViewerWindow() {
  input_->releaseAll();
}

void ViewerWindow::makeView() {
  view_ = new PictureView({.takePicture = [this] { return session_->takePicture(); },
                           .painted = [this](const PictureTiming& timing) { session_->shown(timing); },
                           .input = [this](QEvent& event) { return input_->handle(event); },
                           .layoutChanged = [this] { viewResized(); },
                           .visibilityChanged =
                               [this](bool isVisible) {
                                 if (session_) session_->setHidden(!isVisible);
                               }});
  setCentralWidget(view_);
  input_ = std::make_unique<InputRouter>(InputRouter::Handlers{
      .send = [this](InputEvent event) { session_->send(event); },
      .type = [this](const std::string& text) { session_->send(ControlMessage(message::InsertText{text})); },
      .takeKeyboard = [this] { return takeKeyboard(); },
      .letKeyboardGo = [this] { windowHandle()->setKeyboardGrabEnabled(false); },
      .showChord =
          [this](bool isShown) {
            if (isShown)
              chord_->show(QStringLiteral("The host has the keyboard. %1 gives it back.")
                               .arg(QLatin1String(releaseChordText.data(), releaseChordText.size())),
                           0ms);
            else
              chord_->hide();
          },
      .showRefusal =
          [this](const std::string& reason) {
            notice_->show(QStringLiteral("The desktop keeps the keyboard: %1").arg(plain(reason)),
                          noticeTime);
          },
      .grabChanged = [this](bool isHeld) { grab_->setChecked(isHeld); },
      .command = [this](WindowCommand command) { perform(command); },
      .focusChanged = [](bool) {},
      .pan = [this](QPoint pixels) { view_->pan(pixels.x(), pixels.y()); }});
}

void ViewerWindow::makeSession(client::PairedHost host, DeviceInfo device) {
  session_ = std::make_unique<ViewerSession>(
      std::move(host), std::move(device),
      ViewerSession::Handlers{
          .status = [this](const LinkStatus& status) { statusChanged(status); },
          .host =
              [this](const DeviceInfo& info) {
                hostName_ = plain(info.name);
                titleChanged();
              },
          .message = [this](const ControlMessage& message) { messageArrived(message); },
          .pictureReady =
              [this] {
                view_->pictureReady();
                overlay_->showStreamError(std::nullopt);
              },
          .streamStarted = [this](const StreamStarted&) { overlay_->showStreamError(std::nullopt); },
          .streamFailed =
              [this](const client::ClientError& error) {
                view_->clear();
                overlay_->showStreamError(error);
              },
          .notice = [this](const client::ClientError& error) { notice_->show(textOf(error), noticeTime); },
          .clipboardSent = [] {}});
}

QAction* ViewerWindow::addToggle(const QString& text, const QString& help,
                                 std::function<void(bool)> toggled) {
  auto* action = controls_->addAction(text);
  action->setCheckable(true);
  action->setToolTip(help);
  QObject::connect(action, &QAction::triggered, this, std::move(toggled));
  if (auto* button = qobject_cast<QToolButton*>(controls_->widgetForAction(action))) {
    button->setAccessibleName(text);
    button->setAccessibleDescription(help);
    button->setFocusPolicy(Qt::TabFocus);
  }
  return action;
}

void ViewerWindow::makeControls() {
  controls_ = addToolBar(QStringLiteral("Controls"));
  controls_->setMovable(false);
  controls_->setContextMenuPolicy(Qt::PreventContextMenu);
  targets_ = new QComboBox;
  targets_->setAccessibleName(QStringLiteral("What is shown"));
  targets_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  targets_->setMinimumContentsLength(24);
  setTargets(targetRows({}));
  QObject::connect(targets_, &QComboBox::activated, this, [this](int row) {
    watch(rows_.at(static_cast<std::size_t>(row)).target);
    view_->setFocus();
  });
  controls_->addWidget(targets_);
  controls_->addSeparator();
  addPictureControls();
  addKeyboardControls();
}

void ViewerWindow::addPictureControls() {
  auto* scale = new QComboBox;
  scale->setAccessibleName(QStringLiteral("Scale"));
  scale->addItems({QStringLiteral("Fit"), QStringLiteral("1:1"), QStringLiteral("125 %"),
                   QStringLiteral("150 %"), QStringLiteral("200 %")});
  QObject::connect(scale, &QComboBox::activated, this, [this](int row) {
    constexpr std::array factors{1.0, 1.0, 1.25, 1.5, 2.0};
    const auto mode = row == 0 ? ScaleMode::fit : row == 1 ? ScaleMode::exact : ScaleMode::fixed;
    view_->setScale(mode, factors.at(static_cast<std::size_t>(row)));
    view_->setFocus();
  });
  controls_->addWidget(scale);
  fullScreen_ = addToggle(QStringLiteral("Full screen"), QStringLiteral("Ctrl+Alt+Shift+F"),
                          [this](bool isOn) { setFullScreen(isOn); });
  addToggle(QStringLiteral("Mute"), QStringLiteral("No sound from the host"),
            [this](bool isOn) { session_->setMuted(isOn); });
  measure_ = addToggle(QStringLiteral("Statistics"), QStringLiteral("Ctrl+Alt+Shift+S"),
                       [this](bool isOn) { setStatisticsShown(isOn); });
  auto* save = controls_->addAction(QStringLiteral("Save picture"));
  QObject::connect(save, &QAction::triggered, this, [this] { savePicture(); });
  if (auto* button = controls_->widgetForAction(save)) button->setFocusPolicy(Qt::TabFocus);
}

void ViewerWindow::addKeyboardControls() {
  controls_->addSeparator();
  grab_ =
      addToggle(QStringLiteral("Grab keyboard"),
                QStringLiteral("Super and Alt+Tab go to the host; Ctrl+Alt+Shift+Space takes and releases"),
                [this](bool) {
                  view_->setFocus();
                  input_->toggleGrab();
                });
  addToggle(
      QStringLiteral("Type text"),
      QStringLiteral("Send characters of this computer's layout and input method, not positions of keys"),
      [this](bool isOn) {
        input_->setMode(isOn ? KeyboardMode::text : KeyboardMode::keys);
        view_->setAttribute(Qt::WA_InputMethodEnabled, isOn);
        view_->setFocus();
      });
  auto* special = new QToolButton;
  special->setText(QStringLiteral("Special keys"));
  special->setPopupMode(QToolButton::InstantPopup);
  special->setFocusPolicy(Qt::TabFocus);
  auto* menu = new QMenu(special);
  for (const auto& key : specialKeys()) {
    auto* action =
        menu->addAction(QString::fromUtf8(key.name.data(), static_cast<qsizetype>(key.name.size())));
    QObject::connect(action, &QAction::triggered, this, [this, &key] { input_->press(key); });
  }
  special->setMenu(menu);
  controls_->addWidget(special);
}

void ViewerWindow::watch(const StreamTarget& target) {
  target_ = target;
  session_->watch(target, wantedConfig, view_->viewSize());
  input_->setStream(session_->stream());
  view_->clear();
  overlay_->showStreamError(std::nullopt);
  titleChanged();
}

void ViewerWindow::watch(const ViewTarget& target) {
  const auto numbered = [&]() -> StreamTarget {
    if (const auto* display = std::get_if<viewTarget::Display>(&target))
      return streamTarget::Display{display->id};
    if (const auto* app = std::get_if<viewTarget::App>(&target)) return streamTarget::App{app->bundleID};
    if (const auto* window = std::get_if<viewTarget::Window>(&target))
      for (const auto& row : rows_)
        if (row.kind == TargetRow::Kind::window && row.title == window->title) return row.target;
    return streamTarget::Unified{};
  };
  watch(numbered());
}

void ViewerWindow::statusChanged(const LinkStatus& status) {
  const bool wasConnected = std::exchange(isConnected_, status.state == LinkStatus::State::connected ||
                                                            status.state == LinkStatus::State::stalled);
  overlay_->show(status);
  input_->setStalled(status.state == LinkStatus::State::stalled);
  if (isConnected_ && !wasConnected) {
    input_->connected();
    session_->send(ControlMessage(message::RequestHostState{}));
  }
}

void ViewerWindow::messageArrived(const ControlMessage& message) {
  if (const auto* state = std::get_if<message::HostState>(&message)) hostStateArrived(state->_0);
  if (const auto* error = std::get_if<message::Error>(&message))
    notice_->show(plain(error->_0.message), noticeTime);
}

void ViewerWindow::setTargets(std::vector<TargetRow> rows) {
  rows_ = std::move(rows);
  targets_->clear();
  for (const auto& row : rows_) {
    const auto title = QString::fromStdString(row.title);
    const auto detail = QString::fromStdString(row.detail);
    targets_->addItem(detail.isEmpty() ? title : QStringLiteral("%1 (%2)").arg(title, detail));
    if (row.target == target_) targets_->setCurrentIndex(targets_->count() - 1);
  }
}

void ViewerWindow::hostStateArrived(const HostState& state) {
  auto rows = targetRows(state);
  // An open list must not change under the pointer.
  if (rows == rows_ || targets_->view()->isVisible()) return;
  setTargets(std::move(rows));
  titleChanged();
}

void ViewerWindow::titleChanged() {
  const auto* row = findRow(rows_, target_);
  setWindowTitle(row == nullptr || row->kind == TargetRow::Kind::display
                     ? hostName_
                     : QStringLiteral("%1, %2").arg(QString::fromStdString(row->title), hostName_));
}

void ViewerWindow::viewResized() {
  if (!session_) return;
  input_->setViewport(view_->viewport());
  resizeTimer_.start();
}

void ViewerWindow::setFullScreen(bool isFullScreen) {
  fullScreen_->setChecked(isFullScreen);
  controls_->setVisible(!isFullScreen);
  input_->setFullScreen(isFullScreen);
  if (isFullScreen)
    showFullScreen();
  else
    showNormal();
  view_->setFocus();
}

void ViewerWindow::changeEvent(QEvent* event) {
  if (event->type() == QEvent::WindowStateChange && session_) session_->setHidden(isMinimized());
  QMainWindow::changeEvent(event);
}

std::optional<std::string> ViewerWindow::takeKeyboard() {
  if (windowHandle() != nullptr && windowHandle()->setKeyboardGrabEnabled(true)) return std::nullopt;
  return "another program has it";
}

void ViewerWindow::setStatisticsShown(bool isShown) {
  measure_->setChecked(isShown);
  session_->setMeasuring(isShown);
  if (isShown) {
    statisticsTimer_.start();
    showStatistics();
  } else {
    statisticsTimer_.stop();
    statistics_->hide();
  }
}

void ViewerWindow::showStatistics() {
  const PixelSize size = view_->hasPicture() ? view_->picture()->size() : PixelSize{};
  statistics_->show(QString::fromStdString(statisticsText(session_->pictureReport(), session_->counters(),
                                                          session_->decoderPath(), size)),
                    0ms);
}

void ViewerWindow::savePicture() {
  if (!view_->hasPicture()) return notice_->show(QStringLiteral("There is no picture yet"), noticeTime);
  // Of now, not of the moment when the dialog is closed.
  const auto& picture = *view_->picture();
  const Bytes pixels = picture.rgb();
  const QImage image = QImage(pixels.data(), picture.size().width, picture.size().height,
                              picture.size().width * 3, QImage::Format_RGB888)
                           .copy();
  const QString folder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
  const QString name =
      QDateTime::currentDateTime().toString(QStringLiteral("'Screen' yyyy-MM-dd HH.mm.ss'.png'"));
  const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Save picture"), folder + "/" + name,
                                                    QStringLiteral("Pictures (*.png)"));
  if (path.isEmpty()) return;
  notice_->show(image.save(path, "PNG") ? QStringLiteral("Saved as %1").arg(path)
                                        : QStringLiteral("%1 cannot be written").arg(path),
                noticeTime);
}

void ViewerWindow::perform(WindowCommand command) {
  switch (command) {
    case WindowCommand::fullScreen:
      setFullScreen(!isFullScreen());
      break;
    case WindowCommand::controls:
      controls_->setVisible(true);
      targets_->setFocus();
      break;
    case WindowCommand::targets:
      controls_->setVisible(true);
      targets_->setFocus();
      targets_->showPopup();
      break;
    case WindowCommand::nextAgent:
      break;
    case WindowCommand::statistics:
      setStatisticsShown(!measure_->isChecked());
      break;
  }
}

}  // namespace quorl::viewer
