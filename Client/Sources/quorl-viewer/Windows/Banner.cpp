// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/Banner.h>

#include <QEvent>

namespace quorl::viewer {

Banner::Banner(Place place, QWidget* parent) : QLabel(parent), place_(place) {
  setTextFormat(Qt::PlainText);
  setAttribute(Qt::WA_TransparentForMouseEvents);
  setStyleSheet(QStringLiteral(
      "background: rgba(20, 20, 24, 215); color: white; border-radius: 6px; padding: 6px 12px;"));
  timer_.setSingleShot(true);
  QObject::connect(&timer_, &QTimer::timeout, this, &QWidget::hide);
  parent->installEventFilter(this);
  hide();
}

void Banner::show(const QString& text, std::chrono::milliseconds time) {
  setText(text);
  setWordWrap(false);
  setMinimumWidth(0);
  setMaximumWidth(QWIDGETSIZE_MAX);
  adjustSize();
  if (width() > parentWidget()->width() - 24) {
    setWordWrap(true);
    setFixedWidth(std::max(100, parentWidget()->width() - 24));
    adjustSize();
  }
  place();
  raise();
  QLabel::show();
  if (time.count() > 0)
    timer_.start(time);
  else
    timer_.stop();
}

void Banner::place() {
  const int x = place_ == Place::top ? (parentWidget()->width() - width()) / 2 : 12;
  move(std::max(0, x), 12);
}

bool Banner::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::Resize && isVisible()) place();
  return QLabel::eventFilter(watched, event);
}

}  // namespace quorl::viewer
