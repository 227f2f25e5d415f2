// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QToolButton>

namespace quorl::viewer {

/// The control that names what is shown and opens the list. A badge counts the agents that wait.
///
/// *Queue*: the GUI thread. *Ownership*: its parent's.
class TargetButton : public QToolButton {
 public:
  explicit TargetButton(QWidget* parent = nullptr);

  /// A plain text, without mnemonics.
  void showTarget(const QString& title, const QIcon& icon);
  void setWaiting(std::size_t agents);

 protected:
  void paintEvent(QPaintEvent* event) override;
  QSize sizeHint() const override;

 private:
  void describe();

  QString title_;
  std::size_t waiting_ = 0;
};

}  // namespace quorl::viewer
