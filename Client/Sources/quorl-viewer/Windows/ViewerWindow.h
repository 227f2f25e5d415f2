// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include <QMainWindow>
#include <QTimer>

#include <QuorlKit/Models/Models.h>

#include <quorl-viewer/Settings/ViewerAddress.h>
#include <quorl-viewer/Targets/TargetRows.h>
#include <quorl-viewer/Windows/Banner.h>
#include <quorl-viewer/Windows/InputRouter.h>
#include <quorl-viewer/Windows/LinkOverlay.h>
#include <quorl-viewer/Windows/PictureView.h>
#include <quorl-viewer/Windows/ViewerSession.h>

class QAction;
class QComboBox;
class QToolBar;

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
    std::filesystem::path folder;  // of the client's configuration, with the settings of hosts
  };

  ViewerWindow(client::PairedHost host, DeviceInfo device, const Start& start);
  ~ViewerWindow() override;

  void watch(const StreamTarget& target);
  /// A window that is not there yet is shown when it appears.
  void watch(const ViewTarget& target);
  void setFullScreen(bool isFullScreen);
  PictureView& view() { return *view_; }
  ViewerSession& session() { return *session_; }

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void makeView();
  void makeSession(client::PairedHost host, DeviceInfo device);
  void makeControls();
  void addKeyboardControls();
  void addPictureControls();
  QAction* addToggle(const QString& text, const QString& help, std::function<void(bool)> toggled);

  void statusChanged(const LinkStatus& status);
  void messageArrived(const ControlMessage& message);
  void hostStateArrived(const HostState& state);
  void setTargets(std::vector<TargetRow> rows);
  void titleChanged();
  void viewResized();
  void setStatisticsShown(bool isShown);
  void showStatistics();
  void savePicture();
  void perform(WindowCommand command);
  std::optional<std::string> takeKeyboard();

  StreamTarget target_;
  QString hostName_;
  bool isConnected_ = false;
  std::vector<TargetRow> rows_;

  PictureView* view_ = nullptr;
  LinkOverlay* overlay_ = nullptr;
  Banner* notice_ = nullptr;
  Banner* chord_ = nullptr;
  Banner* statistics_ = nullptr;
  QToolBar* controls_ = nullptr;
  QComboBox* targets_ = nullptr;
  QAction* fullScreen_ = nullptr;
  QAction* grab_ = nullptr;
  QAction* measure_ = nullptr;
  QTimer resizeTimer_;
  QTimer statisticsTimer_;
  std::unique_ptr<InputRouter> input_;
  // Last, so that it ends first.
  std::unique_ptr<ViewerSession> session_;
};

}  // namespace quorl::viewer
