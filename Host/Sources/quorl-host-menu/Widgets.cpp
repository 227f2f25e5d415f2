// SPDX-License-Identifier: GPL-3.0-or-later
#include "Widgets.h"

#include <algorithm>
#include <cmath>

#include <QEvent>
#include <QPainter>
#include <QStaticText>
#include <QTextOption>

#include "Theme.h"

namespace quorl {

namespace {

QColor colorOf(TextTone tone) {
  const Theme& theme = Theme::current();
  switch (tone) {
    case TextTone::primary:
      return theme.text;
    case TextTone::secondary:
      return theme.secondary;
    case TextTone::green:
      return theme.green;
    case TextTone::red:
      return theme.red;
  }
  return theme.text;
}

QFont fontOf(QFont font, TextSize size) {
  switch (size) {
    case TextSize::small:
      font.setPointSizeF(font.pointSizeF() * 0.88);
      break;
    case TextSize::normal:
      break;
    case TextSize::title:
      font.setPointSizeF(font.pointSizeF() * 1.1);
      font.setBold(true);
      break;
  }
  return font;
}

QFont pinFont(QFont font) {
  font.setPointSizeF(font.pointSizeF() * 2.4);
  font.setWeight(QFont::DemiBold);
  return font;
}

void drawFocusRing(QPainter& painter, const QRectF& around) {
  painter.setPen(QPen(Theme::current().accent, 1.5));
  painter.setBrush(Qt::NoBrush);
  painter.drawRoundedRect(around.adjusted(1, 1, -1, -1), 6, 6);
}

}  // namespace

QString textFrom(const std::string& text) {
  return QString::fromStdString(text);
}

TextLabel::TextLabel(TextSize size, TextTone tone) : tone_(tone) {
  setFont(fontOf(font(), size));
  setWordWrap(true);
  setTextFormat(Qt::PlainText);  // names of devices are not markup
  setTone(tone);
}

void TextLabel::setTone(TextTone tone) {
  tone_ = tone;
  QPalette colors;
  colors.setColor(QPalette::WindowText, colorOf(tone));
  setPalette(colors);
}

// The theme's style sheet is set with each theme.
void TextLabel::changeEvent(QEvent* event) {
  QLabel::changeEvent(event);
  if (event->type() == QEvent::StyleChange) setTone(tone_);
}

void TextLabel::show(const std::string& text) {
  if (const QString wanted = textFrom(text); wanted != this->text()) setText(wanted);
}

LineLabel::LineLabel(TextSize size, TextTone tone, Qt::TextElideMode mode)
    : TextLabel(size, tone), mode_(mode) {
  setWordWrap(false);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize LineLabel::minimumSizeHint() const {
  return {0, TextLabel::minimumSizeHint().height()};
}

void LineLabel::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setPen(palette().color(QPalette::WindowText));
  QString line = text();
  line.replace(QLatin1Char('\n'), QLatin1Char(' '));
  const QString shown = fontMetrics().elidedText(line, mode_, width());
  setToolTip(shown == line ? QString() : text());
  painter.drawText(rect(), static_cast<int>(alignment()) | Qt::AlignVCenter, shown);
}

WrappingLabel::WrappingLabel(TextSize size, TextTone tone) : TextLabel(size, tone) {
  QSizePolicy policy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  policy.setHeightForWidth(true);
  setSizePolicy(policy);
}

QStaticText WrappingLabel::layoutFor(int width) const {
  QTextOption option;
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  QStaticText lines(text());
  lines.setTextFormat(Qt::PlainText);
  lines.setTextOption(option);
  lines.setTextWidth(width);
  lines.prepare({}, font());
  return lines;
}

QSize WrappingLabel::sizeHint() const {
  return {0, fontMetrics().height()};
}

int WrappingLabel::heightForWidth(int width) const {
  return std::max(fontMetrics().height(), static_cast<int>(std::ceil(layoutFor(width).size().height())));
}

void WrappingLabel::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setFont(font());
  painter.setPen(palette().color(QPalette::WindowText));
  painter.drawStaticText(0, 0, layoutFor(width()));
}

PINLabel::PINLabel() {
  setFont(pinFont(font()));
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void PINLabel::show(const std::string& pin) {
  if (textFrom(pin) == pin_) return;
  pin_ = textFrom(pin);
  setAccessibleName(QStringLiteral("Pairing PIN: %1").arg(pin_));
  updateGeometry();
  update();
}

int PINLabel::cellWidth() const {
  int widest = 0;
  for (const QChar character : pin_) widest = std::max(widest, fontMetrics().horizontalAdvance(character));
  return widest + fontMetrics().height() / 10;
}

QSize PINLabel::sizeHint() const {
  return {cellWidth() * static_cast<int>(pin_.size()), fontMetrics().height()};
}

void PINLabel::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setPen(Theme::current().text);
  if (sizeHint().width() > width()) {  // a PIN of the person's own choice
    painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter,
                     fontMetrics().elidedText(pin_, Qt::ElideRight, width()));
    return;
  }
  const int cell = cellWidth();
  for (int index = 0; index < pin_.size(); ++index)
    painter.drawText(QRect(index * cell, 0, cell, height()), Qt::AlignCenter, pin_.at(index));
}

SymbolLabel::SymbolLabel(Symbol symbol, int side, TextTone tone) : symbol_(symbol), tone_(tone) {
  setFixedSize(side, side);
}

void SymbolLabel::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  drawSymbol(painter, symbol_, rect(), colorOf(tone_));
}

Dot::Dot() {
  setFixedSize(10, 10);
}

void Dot::show(MenuColor color) {
  color_ = color;
  const auto name = rawValue(color);
  setAccessibleName(QStringLiteral("Status: ") +
                    QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())));
  update();
}

void Dot::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(Theme::current().of(color_));
  painter.drawEllipse(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
}

SymbolButton::SymbolButton(Symbol symbol, const QString& help, std::function<void()> pressed)
    : symbol_(symbol) {
  setToolTip(help);
  setAccessibleName(help);
  setFocusPolicy(Qt::StrongFocus);
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  setAttribute(Qt::WA_Hover);
  connect(this, &QAbstractButton::clicked, this, [pressed = std::move(pressed)] { pressed(); });
}

void SymbolButton::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const Theme& theme = Theme::current();
  if (underMouse() || isDown()) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(isDown() ? theme.border : theme.card);
    painter.drawRoundedRect(rect(), 6, 6);
  }
  drawSymbol(painter, symbol_, QRectF(rect()).adjusted(5, 5, -5, -5),
             underMouse() ? theme.text : theme.secondary);
  if (hasFocus()) drawFocusRing(painter, rect());
}

Switch::Switch(const QString& text, std::function<void()> toggled) {
  setText(text);
  setAccessibleName(text);
  setCheckable(true);
  setFocusPolicy(Qt::StrongFocus);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  connect(this, &QAbstractButton::clicked, this, [toggled = std::move(toggled)] { toggled(); });
}

QSize Switch::sizeHint() const {
  return {fontMetrics().horizontalAdvance(text()) + 52, std::max(24, fontMetrics().height() + 6)};
}

void Switch::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const Theme& theme = Theme::current();
  painter.setPen(theme.text);
  painter.drawText(rect(), Qt::AlignLeft | Qt::AlignVCenter, text());
  constexpr double trackWidth = 34;
  constexpr double trackHeight = 18;
  const QRectF track(width() - trackWidth - 2, (height() - trackHeight) / 2.0, trackWidth, trackHeight);
  painter.setPen(Qt::NoPen);
  painter.setBrush(isChecked() ? theme.accent : theme.grey);
  painter.drawRoundedRect(track, trackHeight / 2, trackHeight / 2);
  const double knob = trackHeight - 4;
  painter.setBrush(Qt::white);
  painter.drawEllipse(
      QRectF(isChecked() ? track.right() - knob - 2 : track.left() + 2, track.top() + 2, knob, knob));
  if (hasFocus()) drawFocusRing(painter, track.adjusted(-3, -3, 3, 3));
}

Card::Card(Look look) : look_(look) {}

void Card::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  const Theme& theme = Theme::current();
  if (look_ == Look::border) {
    painter.setPen(QPen(theme.border, 1));
    painter.setBrush(theme.card);
  } else {
    QColor tint = theme.orange;
    tint.setAlphaF(0.12F);
    painter.setPen(Qt::NoPen);
    painter.setBrush(tint);
  }
  painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
}

void Divider::paintEvent(QPaintEvent* /*event*/) {
  QPainter(this).fillRect(rect(), Theme::current().border);
}

QPushButton* makeButton(const QString& title, ButtonLook look, std::function<void()> pressed) {
  auto* button = new QPushButton(title);
  button->setProperty("plain", look == ButtonLook::plain);
  button->setAutoDefault(false);
  QObject::connect(button, &QPushButton::clicked, button, [pressed = std::move(pressed)] { pressed(); });
  return button;
}

}  // namespace quorl
