// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/PicturePan.h>

#include <QMouseEvent>

namespace quorl::viewer {

namespace {

constexpr int stepPause = 16;  // ms

}  // namespace

PicturePan::PicturePan(PictureView& view, std::function<void()> panned)
    : view_(view), panned_(std::move(panned)) {
  timer_.setTimerType(Qt::PreciseTimer);
  timer_.setInterval(stepPause);
  QObject::connect(&timer_, &QTimer::timeout, this, [this] { step(); });
  view_.installEventFilter(this);
}

void PicturePan::showSide(int toRight, int toBottom) {
  const PixelSize size = view_.viewport().layout().view;
  if (view_.pan(-toRight * size.width / 2, -toBottom * size.height / 2)) panned_();
}

bool PicturePan::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::MouseMove:
      pointerAt(static_cast<QMouseEvent*>(event)->position());
      break;
    case QEvent::MouseButtonRelease:
      // A drag has ended outside.
      if (!view_.rect().contains(static_cast<QMouseEvent*>(event)->position().toPoint())) stop();
      break;
    case QEvent::Leave:
    case QEvent::Hide:
    case QEvent::FocusOut:
      stop();
      break;
    default:
      break;
  }
  return QObject::eventFilter(watched, event);
}

void PicturePan::pointerAt(QPointF position) {
  const PointXY point{position.x(), position.y()};
  if (EdgePan::speedAt(point, view_.viewSize()) == PointXY{}) return stop();
  pointer_ = point;
  if (timer_.isActive()) return;
  last_ = std::chrono::steady_clock::now();
  timer_.start();
}

void PicturePan::stop() {
  pointer_.reset();
  pan_.reset();
  timer_.stop();
}

// Ends at the picture's end; the next motion of the pointer begins again.
void PicturePan::step() {
  const auto now = std::chrono::steady_clock::now();
  const auto elapsed = now - std::exchange(last_, now);
  const auto motion = pan_.step(*pointer_, view_.viewSize(), view_.devicePixelRatioF(), elapsed);
  if (motion == EdgePan::Motion{}) return;
  if (!view_.pan(motion.dx, motion.dy)) return stop();
  panned_();
}

}  // namespace quorl::viewer
