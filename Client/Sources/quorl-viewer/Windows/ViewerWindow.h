// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include <QMainWindow>
#include <QTimer>

#include <QuorlKit/Models/Models.h>

#include <quorl-viewer/Settings/ViewerAddress.h>
#include <quorl-viewer/Targets/AgentBoard.h>
#include <quorl-viewer/Targets/StreamRetry.h>
#include <quorl-viewer/Targets/TargetChoice.h>
#include <quorl-viewer/Windows/AgentDesk.h>
#include <quorl-viewer/Windows/Banner.h>
#include <quorl-viewer/Windows/ClipboardBridge.h>
#include <quorl-viewer/Windows/EdgeControls.h>
#include <quorl-viewer/Windows/FocusWatch.h>
#include <quorl-viewer/Windows/HostIcons.h>
#include <quorl-viewer/Windows/InputRouter.h>
#include <quorl-viewer/Windows/LinkOverlay.h>
#include <quorl-viewer/Windows/PicturePan.h>
#include <quorl-viewer/Windows/PictureView.h>
#include <quorl-viewer/Windows/SettingsKeeper.h>
#include <quorl-viewer/Windows/StatisticsPanel.h>
#include <quorl-viewer/Windows/TargetPopup.h>
#include <quorl-viewer/Windows/ViewerControls.h>
#include <quorl-viewer/Windows/ViewerSession.h>

namespace quorl::viewer {

/// The window of one host: the picture, the controls above it, and what is shown over it.
///
/// *Queue*: the GUI thread. *Ownership*: the application's. *Lifetime*: closing it ends the session.
class ViewerWindow : public QMainWindow {
 public:
  struct Start {
    std::optional<StreamTarget> target;  // by its number
    std::optional<ViewTarget> wanted;    // without a number; neither: what was watched last
    bool isFullScreen = false;
    bool isMuted = false;
    std::filesystem::path folder;       // of the client's configuration, with the settings of hosts
    std::function<void()> openHosts{};  // shows the list of hosts; nothing: no control for it
  };

  ViewerWindow(client::PairedHost host, DeviceInfo device, const Start& start);
  ~ViewerWindow() override;

  void watch(const StreamTarget& target);
  /// A window that is not there yet is shown when it appears.
  void watch(const ViewTarget& target);
  void setFullScreen(bool isFullScreen);
  void showFullScreenOn(QScreen& monitor);
  void setMuted(bool isMuted);
  PictureView& view() { return *view_; }
  ViewerSession& session() { return *session_; }

 protected:
  void changeEvent(QEvent* event) override;
  void moveEvent(QMoveEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  // ViewerWindowParts.cpp
  void makeView();
  void makeInput();
  void makeSession(client::PairedHost host, DeviceInfo device);
  void makeControls(std::function<void()> openHosts);
  void makeTargets();
  void makeClipboard();
  void makeShortcuts();

  // ViewerWindowTargets.cpp
  void begin(const Start& start);
  void watchChosen();
  void startStream();
  void streamShown();
  void streamFailed(const client::ClientError& error);
  void retryStream();
  void rememberTarget();
  void hostStateArrived(const HostState& state);
  void agentsChanged();
  void openTargets();
  void openTerminal(const std::optional<UUID>& agent);
  void titleChanged();
  QIcon iconOf(const TargetRow& row) const;

  // ViewerWindow.cpp
  void change(const SettingsKeeper::Change& change);
  void apply(const HostSettings& settings);
  void applyFullScreen(bool isFullScreen);
  void moveTo(QScreen& monitor);
  void followWindowState();
  void restoreGeometry();
  void geometryChanged();
  void visibilityChanged();
  void statusChanged(const LinkStatus& status);
  void messageArrived(const ControlMessage& message);
  void showNotice(const QString& text);
  void setStatisticsShown(bool isShown);
  void savePicture();
  void record(bool isWanted);
  void recordingEnded(const client::Outcome<Recorded>& result);
  void perform(WindowCommand command);
  StreamConfig streamConfig() const;

  SettingsKeeper keeper_;
  std::optional<HostSettings> applied_;
  TargetChoice choice_;
  std::vector<TargetRow> rows_;
  HostIcons icons_;
  AgentBoard agents_;
  QString hostName_;
  bool isConnected_ = false;
  bool isClosing_ = false;
  bool isViewVisible_ = true;  // the desktop shows some of it, as far as it says

  PictureView* view_ = nullptr;
  LinkOverlay* overlay_ = nullptr;
  Banner* notice_ = nullptr;
  Banner* chord_ = nullptr;
  StatisticsPanel* statistics_ = nullptr;
  ViewerControls* controls_ = nullptr;
  TargetPopup* popup_ = nullptr;
  QTimer resizeTimer_;
  QTimer iconTimer_;
  QTimer stateTimer_;
  QTimer retryTimer_;
  StreamRetry retry_;
  bool isRetrying_ = false;  // the target has failed and is not shown yet
  std::unique_ptr<EdgeControls> edge_;
  std::unique_ptr<PicturePan> pan_;
  std::unique_ptr<KeyboardHold> keyboard_;
  std::unique_ptr<InputRouter> input_;
  std::unique_ptr<FocusWatch> focus_;
  std::unique_ptr<AgentDesk> desk_;
  std::unique_ptr<ClipboardBridge> clipboard_;
  // Last, so that it ends first.
  std::unique_ptr<ViewerSession> session_;
};

}  // namespace quorl::viewer
