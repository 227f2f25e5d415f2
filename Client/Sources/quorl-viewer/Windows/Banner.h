// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>

#include <QLabel>
#include <QTimer>

namespace quorl::viewer {

/// A short text over the picture that goes away by itself. Never takes the focus or a click.
///
/// *Queue*: the GUI thread. *Ownership*: its parent's.
class Banner : public QLabel {
 public:
  enum class Place : std::uint8_t { top, topLeft };

  Banner(Place place, QWidget* parent);

  /// Plain text. 0: until `hide`.
  void show(const QString& text, std::chrono::milliseconds time);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void place();

  const Place place_;
  QTimer timer_;
};

}  // namespace quorl::viewer
