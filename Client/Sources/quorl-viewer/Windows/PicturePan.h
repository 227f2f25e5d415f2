// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include <QObject>
#include <QPointF>
#include <QTimer>

#include <quorl-viewer/Pointer/EdgePan.h>
#include <quorl-viewer/Windows/PictureView.h>

namespace quorl::viewer {

/// Moves a picture that is larger than its view: while the pointer is at an edge, also outside in a drag, and
/// by whole steps for a key. No timer runs otherwise.
///
/// *Queue*: the GUI thread. *Ownership*: the window's; borrows the view.
class PicturePan : public QObject {
 public:
  /// `panned`: the picture is elsewhere under the pointer.
  PicturePan(PictureView& view, std::function<void()> panned);

  /// Shows what is to that side: -1, 0 or 1 of half a view on each axis.
  void showSide(int toRight, int toBottom);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void pointerAt(QPointF position);
  void stop();
  void step();

  PictureView& view_;
  const std::function<void()> panned_;
  EdgePan pan_;
  std::optional<PointXY> pointer_;  // while it is at an edge
  std::chrono::steady_clock::time_point last_;
  QTimer timer_;
};

}  // namespace quorl::viewer
