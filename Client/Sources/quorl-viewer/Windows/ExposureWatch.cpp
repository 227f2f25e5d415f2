// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/ExposureWatch.h>

#include <utility>

#include <QEvent>

namespace quorl::viewer {

ExposureWatch::ExposureWatch(std::function<void(bool)> changed) : changed_(std::move(changed)) {
  timer_.setSingleShot(true);
  timer_.setInterval(patience);
  QObject::connect(&timer_, &QTimer::timeout, this, [this] { report(false); });
}

void ExposureWatch::watch(QWindow* window) {
  if (window_ == window || window == nullptr) return;
  if (window_) window_->removeEventFilter(this);
  window_ = window;
  window_->installEventFilter(this);
}

bool ExposureWatch::eventFilter(QObject* object, QEvent* event) {
  if (object == window_ && event->type() == QEvent::Expose) {
    if (window_->isExposed()) {
      timer_.stop();
      report(true);
    } else if (isExposed_ && !timer_.isActive() && window_->isVisible()) {
      timer_.start();
    }
  }
  return false;
}

void ExposureWatch::report(bool isExposed) {
  if (std::exchange(isExposed_, isExposed) != isExposed) changed_(isExposed);
}

}  // namespace quorl::viewer
