// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include <QAbstractNativeEventFilter>
#include <QWidget>

namespace quorl::viewer {

/// Reports at once that the X server has taken the focus from a window. The toolkit waits a tenth of a second
/// for another window of the program before it says so.
///
/// *Queue*: the GUI thread. *Ownership*: the window's; borrows it. *Lifetime*: the handler is not called
/// after destruction.
class FocusWatch : public QAbstractNativeEventFilter {
 public:
  FocusWatch(QWidget& window, std::function<void()> lost);
  ~FocusWatch() override;

  bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

 private:
  QWidget& window_;
  const std::function<void()> lost_;
};

}  // namespace quorl::viewer
