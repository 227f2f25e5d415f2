// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/EdgeControls.h>

#include <QApplication>
#include <QMouseEvent>

namespace quorl::viewer {

namespace {

constexpr int edge = 2;            // points
constexpr int restPause = 300;     // ms at the edge until they appear
constexpr int leavingPause = 800;  // ms until they go

}  // namespace

EdgeControls::EdgeControls(QMainWindow& window, QToolBar& controls, QWidget& picture,
                           std::function<bool()> isAtTop)
    : window_(window), controls_(controls), picture_(picture), isAtTop_(std::move(isAtTop)) {
  resting_.setSingleShot(true);
  resting_.setInterval(restPause);
  leaving_.setInterval(leavingPause);
  QObject::connect(&resting_, &QTimer::timeout, this, [this] { reveal(); });
  QObject::connect(&leaving_, &QTimer::timeout, this, [this] { hideIfUnused(); });
  picture_.installEventFilter(this);
  window_.installEventFilter(this);
}

void EdgeControls::setFullScreen(bool isFullScreen) {
  if (std::exchange(isFullScreen_, isFullScreen) == isFullScreen) return;
  resting_.stop();
  leaving_.stop();
  if (isFullScreen) {
    // Out of the layout, so that the picture keeps its size when they appear.
    window_.removeToolBar(&controls_);
    controls_.setParent(&window_);
    controls_.hide();
  } else {
    window_.addToolBar(&controls_);
    controls_.show();
  }
}

void EdgeControls::reveal() {
  if (!isFullScreen_) return controls_.show();
  controls_.setGeometry(0, 0, window_.width(), controls_.sizeHint().height());
  controls_.raise();
  controls_.show();
  leaving_.start();
}

void EdgeControls::pointerAt(int y) {
  if (y >= edge || !isAtTop_())
    resting_.stop();
  else if (!resting_.isActive() && !controls_.isVisible())
    resting_.start();
}

void EdgeControls::hideIfUnused() {
  const bool hasPointer = controls_.rect().contains(controls_.mapFromGlobal(QCursor::pos()));
  const QWidget* focused = QApplication::focusWidget();
  const bool hasKeyboard = focused != nullptr && controls_.isAncestorOf(focused);
  if (hasPointer || hasKeyboard || QApplication::activePopupWidget() != nullptr) return;
  leaving_.stop();
  controls_.hide();
}

bool EdgeControls::eventFilter(QObject* watched, QEvent* event) {
  if (isFullScreen_ && watched == &picture_ && event->type() == QEvent::MouseMove) {
    const auto* mouse = static_cast<QMouseEvent*>(event);
    // A drag to the edge is the host's.
    if (mouse->buttons() == Qt::NoButton) pointerAt(static_cast<int>(mouse->position().y()));
  }
  if (isFullScreen_ && watched == &window_ && event->type() == QEvent::Resize && controls_.isVisible())
    controls_.resize(window_.width(), controls_.height());
  return QObject::eventFilter(watched, event);
}

}  // namespace quorl::viewer
