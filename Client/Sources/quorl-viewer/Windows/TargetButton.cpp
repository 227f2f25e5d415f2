// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/TargetButton.h>

#include <QPainter>

#include <quorl-viewer/Windows/PlainText.h>

namespace quorl::viewer {

namespace {

constexpr int widestText = 260;
constexpr int badgeRoom = 44;
constexpr QRgb badgeColour = 0xFFC4551B;

}  // namespace

TargetButton::TargetButton(QWidget* parent) : QToolButton(parent) {
  setIconSize({16, 16});
  setAccessibleName(QStringLiteral("What is shown"));
  setToolTip(QStringLiteral("Choose what is shown (Ctrl+Alt+Shift+T)"));
  setFocusPolicy(Qt::TabFocus);
  showTarget(QStringLiteral("Main display"), {});
}

void TargetButton::showTarget(const QString& title, const QIcon& icon) {
  title_ = title;
  setText(withoutMnemonics(fontMetrics().elidedText(title, Qt::ElideMiddle, widestText)) +
          QStringLiteral("  \u25BE"));
  setIcon(icon);
  setToolButtonStyle(icon.isNull() ? Qt::ToolButtonTextOnly : Qt::ToolButtonTextBesideIcon);
  describe();
}

void TargetButton::setWaiting(std::size_t agents) {
  if (std::exchange(waiting_, agents) == agents) return;
  updateGeometry();
  update();
  describe();
}

void TargetButton::describe() {
  QString text = title_;
  if (waiting_ == 1) text += QStringLiteral(", one agent waits for you");
  if (waiting_ > 1) text += QStringLiteral(", %1 agents wait for you").arg(waiting_);
  setAccessibleDescription(text);
}

QSize TargetButton::sizeHint() const {
  const QSize size = QToolButton::sizeHint();
  return waiting_ == 0 ? size : size + QSize(badgeRoom, 0);
}

void TargetButton::paintEvent(QPaintEvent* event) {
  QToolButton::paintEvent(event);
  if (waiting_ == 0) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const int side = 18;
  const QRect badge(width() - side - 4, (height() - side) / 2, side, side);
  painter.setBrush(QColor(badgeColour));
  painter.setPen(Qt::NoPen);
  painter.drawEllipse(badge);
  QFont font = painter.font();
  font.setPixelSize(11);
  font.setBold(true);
  painter.setFont(font);
  painter.setPen(Qt::white);
  painter.drawText(badge, Qt::AlignCenter, waiting_ > 9 ? QStringLiteral("9+") : QString::number(waiting_));
}

}  // namespace quorl::viewer
