// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include <QMainWindow>
#include <QTimer>
#include <QToolBar>

namespace quorl::viewer {

/// Where the controls are: above the picture, or in full screen over it, hidden until the pointer rests at
/// the top edge. They go when the pointer has left them for a moment and the keyboard is not in them.
///
/// *Queue*: the GUI thread. *Ownership*: the window's; borrows the controls and the picture.
class EdgeControls : public QObject {
 public:
  /// `isAtTop`: false while the picture goes on above what is seen. The pointer at the edge moves it then.
  EdgeControls(QMainWindow& window, QToolBar& controls, QWidget& picture, std::function<bool()> isAtTop);

  void setFullScreen(bool isFullScreen);
  /// Until the pointer and the keyboard have left them.
  void reveal();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void pointerAt(int y);
  void hideIfUnused();

  QMainWindow& window_;
  QToolBar& controls_;
  QWidget& picture_;
  const std::function<bool()> isAtTop_;
  bool isFullScreen_ = false;
  QTimer resting_;
  QTimer leaving_;
};

}  // namespace quorl::viewer
