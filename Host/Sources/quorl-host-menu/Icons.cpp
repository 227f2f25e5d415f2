// SPDX-License-Identifier: GPL-3.0-or-later
#include "Icons.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace quorl {

namespace {

QPainterPath roundedBox(double x, double y, double width, double height, double radius) {
  QPainterPath path;
  path.addRoundedRect(QRectF(x, y, width, height), radius, radius);
  return path;
}

void addLine(QPainterPath& path, double fromX, double fromY, double toX, double toY) {
  path.moveTo(fromX, fromY);
  path.lineTo(toX, toY);
}

QPainterPath circle(double x, double y, double radius) {
  QPainterPath path;
  path.addEllipse(QPointF(x, y), radius, radius);
  return path;
}

/// An arc with the angles of QPainterPath: degrees, counter-clockwise from the right.
void addArc(QPainterPath& path, double x, double y, double radius, double start, double span) {
  const QRectF box(x - radius, y - radius, radius * 2, radius * 2);
  path.arcMoveTo(box, start);
  path.arcTo(box, start, span);
}

QPainterPath tabletAndComputer() {
  QPainterPath path = roundedBox(2, 4, 14, 10, 1.5);
  addLine(path, 1, 17.5, 11, 17.5);
  path.addPath(roundedBox(14.5, 9, 8, 11, 1.5));
  addLine(path, 17.5, 17.5, 19.5, 17.5);
  return path;
}

QPainterPath tablet() {
  QPainterPath path = roundedBox(2.5, 5, 19, 14, 2);
  addLine(path, 18.5, 10.5, 18.5, 13.5);
  return path;
}

QPainterPath closeCircle() {
  QPainterPath path = circle(12, 12, 9);
  addLine(path, 9, 9, 15, 15);
  addLine(path, 15, 9, 9, 15);
  return path;
}

QPainterPath screens() {
  QPainterPath path = roundedBox(2.5, 8, 13, 10.5, 1.5);
  path.moveTo(7, 5.5);
  path.lineTo(20, 5.5);
  path.quadTo(21.5, 5.5, 21.5, 7);
  path.lineTo(21.5, 15);
  return path;
}

QPainterPath hand() {
  QPainterPath path;
  path.moveTo(9, 13);
  path.lineTo(9, 4.8);
  path.quadTo(9, 3.2, 10.5, 3.2);
  path.quadTo(12, 3.2, 12, 4.8);
  path.lineTo(12, 10.5);
  path.lineTo(17.5, 11.8);
  path.quadTo(19.5, 12.3, 19.2, 14.4);
  path.lineTo(18.4, 18.6);
  path.quadTo(17.8, 21, 15.4, 21);
  path.lineTo(12, 21);
  path.quadTo(10.4, 21, 9.3, 19.8);
  path.lineTo(5, 14.9);
  path.quadTo(4.2, 13.6, 5.4, 12.8);
  path.quadTo(6.6, 12.2, 7.6, 13.1);
  path.lineTo(9, 14.6);
  return path;
}

QPainterPath refresh() {
  QPainterPath path;
  addArc(path, 12, 12, 7.5, 35, 285);
  path.moveTo(18.6, 3.8);
  path.lineTo(18.2, 7.9);
  path.lineTo(14.1, 7.5);
  return path;
}

QPainterPath copy() {
  QPainterPath path = roundedBox(8.5, 8.5, 12, 12, 2);
  path.moveTo(5.5, 15.5);
  path.quadTo(3.5, 15.5, 3.5, 13.5);
  path.lineTo(3.5, 5.5);
  path.quadTo(3.5, 3.5, 5.5, 3.5);
  path.lineTo(13.5, 3.5);
  path.quadTo(15.5, 3.5, 15.5, 5.5);
  return path;
}

QPainterPath network() {
  QPainterPath path = circle(12, 12, 9);
  path.addEllipse(QPointF(12, 12), 4, 9);
  addLine(path, 3, 12, 21, 12);
  return path;
}

QPainterPath radioWaves() {
  QPainterPath path = circle(12, 12, 1.6);
  for (const double radius : {5.5, 9.5}) {
    addArc(path, 12, 12, radius, -50, 100);
    addArc(path, 12, 12, radius, 130, 100);
  }
  return path;
}

QPainterPath qrCode() {
  QPainterPath path = roundedBox(3, 3, 7, 7, 1);
  path.addPath(roundedBox(14, 3, 7, 7, 1));
  path.addPath(roundedBox(3, 14, 7, 7, 1));
  for (const QPointF point : {QPointF(14.5, 14.5), QPointF(20.5, 14.5), QPointF(17.5, 17.5),
                              QPointF(14.5, 20.5), QPointF(20.5, 20.5)})
    addLine(path, point.x() - 0.2, point.y(), point.x() + 0.2, point.y());
  return path;
}

QPainterPath key() {
  QPainterPath path = circle(8, 16, 4.5);
  path.moveTo(11.2, 12.8);
  path.lineTo(20, 4);
  addLine(path, 16.2, 7.8, 19.2, 10.8);
  return path;
}

QPainterPath shield() {
  QPainterPath path;
  path.moveTo(12, 3);
  path.lineTo(19.5, 5.8);
  path.lineTo(19.5, 11.5);
  path.cubicTo(19.5, 16.5, 16, 19.5, 12, 21);
  path.cubicTo(8, 19.5, 4.5, 16.5, 4.5, 11.5);
  path.lineTo(4.5, 5.8);
  path.closeSubpath();
  path.addPath(roundedBox(9, 11, 6, 4.5, 1));
  addArc(path, 12, 11, 2, 0, 180);
  return path;
}

QPainterPath persons() {
  QPainterPath path = circle(9, 8.5, 3.5);
  addArc(path, 9, 20.5, 6.5, 8, 164);
  addArc(path, 15.6, 8.8, 3, -85, 200);
  addArc(path, 15.8, 20.5, 6, 5, 75);
  return path;
}

QPainterPath pathOf(Symbol symbol) {
  switch (symbol) {
    case Symbol::tabletAndComputer:
      return tabletAndComputer();
    case Symbol::tablet:
      return tablet();
    case Symbol::closeCircle:
      return closeCircle();
    case Symbol::screens:
      return screens();
    case Symbol::hand:
      return hand();
    case Symbol::refresh:
      return refresh();
    case Symbol::copy:
      return copy();
    case Symbol::network:
      return network();
    case Symbol::radioWaves:
      return radioWaves();
    case Symbol::qrCode:
      return qrCode();
    case Symbol::key:
      return key();
    case Symbol::shield:
      return shield();
    case Symbol::persons:
      return persons();
  }
  return {};
}

QPixmap applicationPixmap(int side) {
  QPixmap pixmap(side, side);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.scale(side / 24.0, side / 24.0);
  painter.setPen(Qt::NoPen);
  painter.setBrush(QColor("#2f62d9"));
  painter.drawRoundedRect(QRectF(1, 1, 22, 22), 5.5, 5.5);
  painter.setBrush(Qt::NoBrush);
  painter.setPen(QPen(Qt::white, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  painter.drawRoundedRect(QRectF(4.5, 5.5, 15, 12), 2, 2);
  painter.drawLine(QPointF(4.5, 9), QPointF(19.5, 9));
  QPainterPath pointer;
  pointer.moveTo(12, 11.2);
  pointer.lineTo(12, 19.6);
  pointer.lineTo(14.2, 17.8);
  pointer.lineTo(15.6, 20.6);
  pointer.lineTo(17.2, 19.8);
  pointer.lineTo(15.8, 17.1);
  pointer.lineTo(18.4, 16.9);
  pointer.closeSubpath();
  painter.setBrush(Qt::white);
  painter.setPen(QPen(QColor("#2f62d9"), 1.1));
  painter.drawPath(pointer);
  return pixmap;
}

}  // namespace

void drawSymbol(QPainter& painter, Symbol symbol, const QRectF& place, const QColor& color) {
  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  painter.translate(place.topLeft());
  painter.scale(place.width() / 24, place.height() / 24);
  painter.setBrush(Qt::NoBrush);
  painter.setPen(QPen(color, 1.7, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  painter.drawPath(pathOf(symbol));
  painter.restore();
}

QIcon applicationIcon() {
  QIcon icon;
  for (const int side : {16, 22, 24, 32, 44, 48, 64, 128}) icon.addPixmap(applicationPixmap(side));
  return icon;
}

}  // namespace quorl
