// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include <QElapsedTimer>
#include <QSystemTrayIcon>

#include "HostChannel.h"
#include "PopoverPanel.h"
#include "SetupWindow.h"

class QDBusServiceWatcher;

namespace quorl {

/// The tray icon and the two windows, and what opens and closes them.
///
/// *Queue*: GUI thread. *Lifetime*: the process's.
class MenuApp {
 public:
  struct Settings {
    int descriptor = 0;
    /// How long a session that has just begun may take to show its tray.
    std::chrono::milliseconds trayPatience{10'000};
  };

  explicit MenuApp(const Settings& settings);
  ~MenuApp();

  void togglePanel();
  PopoverPanel* panel() const { return panel_.get(); }
  SetupWindow* setup() const { return setup_.get(); }

 private:
  void received(const MenuMessage& message);
  void openPanel(std::optional<QPoint> pointer);
  void panelClosed(std::optional<QPoint> outside);
  void showPanel(const PopoverSnapshot& snapshot);
  void placePanel();
  void requestSetup();
  void showSetup(const SetupSnapshot& snapshot);
  void lookForTray(std::chrono::milliseconds patience);
  bool hasJustClosedByTheIcon() const;

  HostChannel channel_;
  QSystemTrayIcon tray_;
  std::unique_ptr<QDBusServiceWatcher> trayWatcher_;
  std::unique_ptr<PopoverPanel> panel_;
  std::unique_ptr<SetupWindow> setup_;
  bool wantsPanel_ = false;  // until it is closed
  bool wantsSetup_ = false;  // until it is shown
  std::optional<QPoint> pointer_;
  std::optional<QPoint> lastOutside_;
  QElapsedTimer sinceOutside_;
};

}  // namespace quorl
