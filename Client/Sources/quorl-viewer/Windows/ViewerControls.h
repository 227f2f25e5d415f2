// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include <QComboBox>
#include <QMenu>
#include <QToolBar>

#include <quorl-viewer/Keyboard/SpecialKeys.h>
#include <quorl-viewer/Settings/HostSettings.h>
#include <quorl-viewer/Windows/MonitorMenu.h>
#include <quorl-viewer/Windows/TargetButton.h>

namespace quorl::viewer {

/// The controls above the picture. Each shows a setting and asks to change it; it never changes by itself.
///
/// *Queue*: the GUI thread. *Ownership*: its parent's. *Lifetime*: handlers must outlive it.
class ViewerControls : public QToolBar {
 public:
  struct Handlers {
    std::function<void(const std::function<void(HostSettings&)>&)> change;
    MonitorMenu::Choose showFullScreenOn;
    std::function<void()> openTargets;
    std::function<void()> toggleGrab;
    std::function<void(const SpecialKey&)> press;
    std::function<void(bool isShown)> showStatistics;
    std::function<void()> savePicture;
    std::function<void(bool isWanted)> record;
    std::function<void()> openHosts;  // may be nothing
    /// The keyboard goes back to the picture.
    std::function<void()> leave;
  };

  ViewerControls(Handlers handlers, QWidget* parent);

  TargetButton& targets() { return *targets_; }
  void show(const HostSettings& settings);
  void setGrabbed(bool isGrabbed) { grab_->setChecked(isGrabbed); }
  void setStatisticsShown(bool isShown) { statistics_->setChecked(isShown); }
  void setRecording(bool isRecording) { record_->setChecked(isRecording); }
  bool isStatisticsShown() const { return statistics_->isChecked(); }

 private:
  using Change = std::function<void(HostSettings&)>;

  QAction* addToggle(const QString& text, const QString& help, std::function<void(bool)> toggled);
  QMenu* addMenu(const QString& text, const QString& help);
  QAction* addTo(QMenu* menu, const QString& text, std::function<void(bool)> toggled);
  void addScale();
  void addKeyboardMenu();
  void addMoreMenu();
  void change(const Change& change);

  const Handlers handlers_;
  TargetButton* targets_;
  QComboBox* scale_ = nullptr;
  QAction* fullScreen_ = nullptr;
  QAction* mute_ = nullptr;
  QAction* grab_ = nullptr;
  QAction* text_ = nullptr;
  std::array<QAction*, 3> grabChoices_{};  // by `GrabChoice`
  QAction* statistics_ = nullptr;
  QAction* record_ = nullptr;
  QAction* pointer_ = nullptr;
  QAction* sends_ = nullptr;
  QAction* takes_ = nullptr;
  QAction* primary_ = nullptr;
};

}  // namespace quorl::viewer
