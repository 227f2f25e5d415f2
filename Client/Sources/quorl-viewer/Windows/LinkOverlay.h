// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QToolButton>
#include <QWidget>

#include <quorl-viewer/Link/LinkMachine.h>

namespace quorl::viewer {

/// What covers the picture while the host does not answer: what has happened, since when, when the next
/// attempt is, and what a person can do. Details are folded away.
///
/// *Queue*: the GUI thread. *Ownership*: its parent's.
class LinkOverlay : public QWidget {
 public:
  struct Handlers {
    std::function<void()> reconnectNow;
    /// Of the target that cannot be watched.
    std::function<void()> retryNow;
    std::function<void()> cancel;
  };

  LinkOverlay(const QString& host, const QString& address, Handlers handlers, QWidget* parent);

  /// Hides itself while the link is connected.
  void show(const LinkStatus& status);
  /// A target that cannot be watched, while the link is there, and when it is tried again, if it is.
  void showStreamError(const client::ClientError& error, std::optional<Clock::time_point> retryAt);
  /// It is tried now.
  void showStreamAttempt();
  /// The target can be watched.
  void clearStreamError();
  /// A window that the host does not have yet, by its title. Nothing: none is waited for.
  void showWaiting(const std::optional<std::string>& title);

 protected:
  void paintEvent(QPaintEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  bool focusNextPrevChild(bool isNext) override;

 private:
  void refresh();
  void moveFocus();
  bool isHeldUp() const;
  QString headline(Clock::time_point now) const;

  const QString host_;
  const QString address_;
  LinkStatus status_;
  std::optional<client::ClientError> streamError_;
  std::optional<Clock::time_point> streamRetryAt_;
  std::optional<std::string> waitsFor_;
  QTimer everySecond_;
  QLabel* title_;
  QLabel* counter_;
  QToolButton* fold_;
  QLabel* details_;
  QPushButton* now_;
  QPushButton* cancel_;
};

}  // namespace quorl::viewer
