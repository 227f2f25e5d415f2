// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/TargetDelegate.h>

#include <QApplication>
#include <QPainter>

namespace quorl::viewer {

namespace {

constexpr int margin = 8;
constexpr int iconSide = 20;
constexpr int dotSide = 8;
constexpr QSize thumbnailSize(72, 45);
constexpr QRgb waitingColour = 0xFFE0702A;

// The picture as large as it fits, or an empty frame, with the icon in the lower right corner or in the
// middle.
void paintThumbnail(QPainter& painter, const QRect& place, const QImage& picture, const QIcon& icon,
                    QColor frame) {
  QRect iconPlace({}, QSize(iconSide, iconSide));
  if (picture.isNull()) {
    frame.setAlphaF(0.12F);
    painter.fillRect(place, frame);
    iconPlace.moveCenter(place.center());
  } else {
    const QSize size = picture.size().scaled(place.size(), Qt::KeepAspectRatio);
    QRect target({}, size);
    target.moveCenter(place.center());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, picture);
    iconPlace.moveBottomRight(target.bottomRight());
  }
  icon.paint(&painter, iconPlace);
}

}  // namespace

QSize TargetDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
  const int picture = index.data(hasThumbnailRole).toBool() ? thumbnailSize.height() : iconSide;
  return {200, std::max(picture, option.fontMetrics.height()) + margin};
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
  const auto icon = index.data(Qt::DecorationRole).value<QIcon>();
  const bool hasThumbnail = index.data(hasThumbnailRole).toBool();
  QRect place({}, hasThumbnail ? thumbnailSize : QSize(iconSide, iconSide));
  place.moveCenter(rest.center());
  place.moveLeft(rest.left());
  if (hasThumbnail)
    paintThumbnail(*painter, place, index.data(thumbnailRole).value<QImage>(), icon, text);
  else
    icon.paint(painter, place);
  rest.setLeft(place.right() + margin);
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
