// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/TargetDelegate.h>

#include <QApplication>
#include <QPainter>

namespace quorl::viewer {

namespace {

constexpr int margin = 8;
constexpr int iconSide = 20;
constexpr int dotSide = 8;
constexpr QRgb waitingColour = 0xFFE0702A;

}  // namespace

QSize TargetDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
  return {200, std::max(iconSide, option.fontMetrics.height()) + margin};
}

void TargetDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                           const QModelIndex& index) const {
  const bool isHeading = index.data(isHeadingRole).toBool();
  const bool isChosen = option.state.testFlag(QStyle::State_Selected) && !isHeading;
  const auto& palette = option.palette;
  // Headings cannot be chosen, but are no weaker than the details.
  const QColor text = palette.color(QPalette::Active, isChosen ? QPalette::HighlightedText : QPalette::Text);
  QColor weak = text;
  weak.setAlphaF(0.6F);
  QRect rest = option.rect.adjusted(margin, 0, -margin, 0);
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  if (isChosen) painter->fillRect(option.rect, palette.brush(QPalette::Highlight));
  if (isHeading) {
    QFont font = option.font;
    font.setPointSizeF(font.pointSizeF() * 0.85);
    font.setBold(true);
    painter->setFont(font);
    painter->setPen(weak);
    painter->drawText(rest, Qt::AlignLeft | Qt::AlignVCenter, index.data(Qt::DisplayRole).toString());
    painter->restore();
    return;
  }
  const QRect iconPlace(rest.left(), rest.center().y() - iconSide / 2 + 1, iconSide, iconSide);
  index.data(Qt::DecorationRole).value<QIcon>().paint(painter, iconPlace);
  rest.setLeft(iconPlace.right() + margin);
  if (index.data(isWaitingRole).toBool()) {
    painter->setBrush(QColor(waitingColour));
    painter->setPen(Qt::NoPen);
    painter->drawEllipse(QRect(rest.right() - dotSide, rest.center().y() - dotSide / 2, dotSide, dotSide));
    rest.setRight(rest.right() - dotSide - margin);
  }
  const auto& metrics = option.fontMetrics;
  const QString title = metrics.elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideMiddle,
                                           std::max(rest.width() * 2 / 3, 40));
  painter->setPen(text);
  painter->drawText(rest, Qt::AlignLeft | Qt::AlignVCenter, title);
  rest.setLeft(rest.left() + metrics.horizontalAdvance(title) + margin * 2);
  painter->setPen(weak);
  painter->drawText(
      rest, Qt::AlignRight | Qt::AlignVCenter,
      metrics.elidedText(index.data(detailRole).toString(), Qt::ElideMiddle, std::max(0, rest.width())));
  painter->restore();
}

}  // namespace quorl::viewer
