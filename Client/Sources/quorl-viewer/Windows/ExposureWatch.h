// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QWindow>

namespace quorl::viewer {

/// Reports that the desktop shows nothing of an open window for a while, for example because it is on another
/// workspace, and that it shows it again. A Wayland compositor reports neither; it stops asking for pictures,
/// which the toolkit makes an exposure of nothing after a tenth of a second.
///
/// *Queue*: the GUI thread. *Lifetime*: the handler is not called after destruction; the window may end
/// first.
class ExposureWatch : public QObject {
 public:
  /// A slow compositor misses a tenth of a second now and then, and each return costs a key frame.
  static constexpr std::chrono::milliseconds patience{1'000};

  explicit ExposureWatch(std::function<void(bool isExposed)> changed);

  void watch(QWindow* window);
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void report(bool isExposed);

  const std::function<void(bool)> changed_;
  QPointer<QWindow> window_;
  bool isExposed_ = true;  // as last reported
  QTimer timer_;
};

}  // namespace quorl::viewer
