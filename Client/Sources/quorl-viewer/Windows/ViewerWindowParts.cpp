// SPDX-License-Identifier: GPL-3.0-or-later
// What the window is made of, and what each part asks of the others.
#include <quorl-viewer/Windows/ViewerWindow.h>

#include <QShortcut>

#include <quorl-viewer/Windows/PlainText.h>
#include <quorl-viewer/Windows/StatisticsText.h>

namespace quorl::viewer {

namespace {

using namespace std::chrono_literals;

constexpr int statePause = 300;   // ms: a change of state may take several steps
constexpr int resizePause = 150;  // ms: the host is asked for a shape once the size has settled

ClipboardRules rulesOf(const HostSettings& settings) {
  return {settings.sendsClipboard, settings.takesClipboard, settings.sendsPrimary};
}

}  // namespace

void ViewerWindow::makeView() {
  view_ = new PictureView({.takePicture = [this] { return session_->takePicture(); },
                           .painted = [this](const PictureTiming& timing) { session_->shown(timing); },
                           .input = [this](QEvent& event) { return input_->handle(event); },
                           .layoutChanged =
                               [this] {
                                 if (!session_) return;
                                 input_->setViewport(view_->viewport());
                                 resizeTimer_.start();
                               },
                           .visibilityChanged =
                               [this](bool isVisible) {
                                 isViewVisible_ = isVisible;
                                 if (session_) visibilityChanged();
                               }});
  setCentralWidget(view_);
  pan_ = std::make_unique<PicturePan>(*view_, [this] { input_->pictureMoved(); });
  notice_ = new Banner(Banner::Place::top, view_);
  chord_ = new Banner(Banner::Place::top, view_);
  statistics_ = new StatisticsPanel(
      [this] {
        const PixelSize size = view_->hasPicture() ? view_->picture()->size() : PixelSize{};
        return QString::fromStdString(
            statisticsText(session_->pictureReport(), session_->counters(), session_->decoderPath(), size));
      },
      view_);
  stateTimer_.setSingleShot(true);
  stateTimer_.setInterval(statePause);
  QObject::connect(&stateTimer_, &QTimer::timeout, this, [this] { followWindowState(); });
  retryTimer_.setSingleShot(true);
  QObject::connect(&retryTimer_, &QTimer::timeout, this, [this] { retryStream(); });
  resizeTimer_.setSingleShot(true);
  resizeTimer_.setInterval(resizePause);
  QObject::connect(&resizeTimer_, &QTimer::timeout, this,
                   [this] { session_->resizeView(view_->viewSize()); });
}

void ViewerWindow::makeInput() {
  keyboard_ = std::make_unique<KeyboardHold>(
      *this, KeyboardHold::Handlers{
                 .taken = [this] { input_->grabTaken(); },
                 .refused = [this](const KeyboardHold::Refusal& refusal) { input_->grabRefused(refusal); },
                 .lost = [this] { input_->grabLost(); }});
  input_ = std::make_unique<InputRouter>(InputRouter::Handlers{
      .viewOrigin = [this] { return QPointF(view_->mapTo(this, QPoint())); },
      .send = [this](InputEvent event) { session_->send(event); },
      .type = [this](const std::string& text) { session_->send(ControlMessage(message::InsertText{text})); },
      .takeKeyboard = [this] { keyboard_->take(); },
      .letKeyboardGo = [this] { keyboard_->letGo(); },
      .showChord =
          [this](bool isShown) {
            if (!isShown) return chord_->hide();
            chord_->show(QStringLiteral("The host has the keyboard. %1 gives it back.")
                             .arg(QLatin1String(releaseChordText.data(), releaseChordText.size())),
                         0ms);
          },
      .showRefusal =
          [this](const std::string& reason) {
            showNotice(QStringLiteral("The keyboard was not grabbed: %1").arg(plain(reason)));
          },
      .grabChanged = [this](bool isHeld) { controls_->setGrabbed(isHeld); },
      .command = [this](WindowCommand command) { perform(command); },
      .focusChanged = [this](bool hasFocus) { clipboard_->setFocused(hasFocus); }});
  focus_ = std::make_unique<FocusWatch>(*this, [this] { input_->releaseAll(); });
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
                streamShown();
              },
          .thumbnail = [this](const StreamTarget& target,
                              const QImage& picture) { popup_->setThumbnail(target, picture); },
          .streamFailed = [this](const client::ClientError& error) { streamFailed(error); },
          .notice = [this](const client::ClientError& error) { showNotice(plain(error)); },
          .clipboardSent = [this] { clipboard_->largeSent(); },
          .recorded = [this](const client::Outcome<Recorded>& result) { recordingEnded(result); }});
}

void ViewerWindow::makeControls(std::function<void()> openHosts) {
  controls_ = new ViewerControls({.change = [this](const SettingsKeeper::Change& made) { change(made); },
                                  .showFullScreenOn = [this](QScreen& monitor) { showFullScreenOn(monitor); },
                                  .openTargets = [this] { openTargets(); },
                                  .toggleGrab = [this] { input_->toggleGrab(); },
                                  .press = [this](const SpecialKey& key) { input_->press(key); },
                                  .showStatistics = [this](bool isShown) { setStatisticsShown(isShown); },
                                  .savePicture = [this] { savePicture(); },
                                  .record = [this](bool isWanted) { record(isWanted); },
                                  .openHosts = std::move(openHosts),
                                  .leave = [this] { view_->setFocus(); }},
                                 this);
  addToolBar(controls_);
  edge_ = std::make_unique<EdgeControls>(*this, *controls_, *view_,
                                         [this] { return view_->viewport().target().y >= 0; });
}

void ViewerWindow::makeTargets() {
  popup_ = new TargetPopup({.target = [this](const StreamTarget& target) { watch(target); },
                            .agent = [this](const UUID& agent) { openTerminal(agent); },
                            .icon = [this](const TargetRow& row) { return iconOf(row); },
                            .inView =
                                [this](const std::vector<StreamTarget>& targets) {
                                  if (session_ && !isClosing_) session_->showThumbnails(targets);
                                },
                            .closed =
                                [this] {
                                  if (!isClosing_) view_->setFocus();
                                }},
                           this);
  rows_ = targetRows({});
  iconTimer_.setSingleShot(true);
  QObject::connect(&iconTimer_, &QTimer::timeout, this,
                   [this] { session_->send(ControlMessage(message::RequestHostState{})); });
}

void ViewerWindow::makeClipboard() {
  clipboard_ = std::make_unique<ClipboardBridge>(
      ClipboardBridge::Handlers{
          .send = [this](ControlMessage message) { session_->send(std::move(message)); },
          .notice = [this](const QString& text) { showNotice(text); }},
      rulesOf(keeper_.settings()));
}

// While the picture has the keyboard, the same keys come through the input.
void ViewerWindow::makeShortcuts() {
  const auto add = [this](Qt::Key key, WindowCommand command) {
    auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::SHIFT | key), this);
    QObject::connect(shortcut, &QShortcut::activated, this, [this, command] { perform(command); });
  };
  add(Qt::Key_F, WindowCommand::fullScreen);
  add(Qt::Key_M, WindowCommand::controls);
  add(Qt::Key_T, WindowCommand::targets);
  add(Qt::Key_A, WindowCommand::nextAgent);
  add(Qt::Key_S, WindowCommand::statistics);
  add(Qt::Key_Left, WindowCommand::showLeft);
  add(Qt::Key_Right, WindowCommand::showRight);
  add(Qt::Key_Up, WindowCommand::showTop);
  add(Qt::Key_Down, WindowCommand::showBottom);
}

}  // namespace quorl::viewer
