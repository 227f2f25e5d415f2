// SPDX-License-Identifier: GPL-3.0-or-later
#include "QrCode.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include <qrencode.h>
#include <QPainter>

namespace quorl {

namespace {

constexpr int moduleSide = 10;
constexpr int quietModules = 4;
constexpr int viewSide = 208;

struct FreeCode {
  void operator()(QRcode* code) const { QRcode_free(code); }
};

}  // namespace

QImage qrImage(const std::string& text) {
  const std::unique_ptr<QRcode, FreeCode> code(QRcode_encodeData(
      static_cast<int>(text.size()), reinterpret_cast<const unsigned char*>(text.data()), 0, QR_ECLEVEL_M));
  if (!code) return {};
  const int modules = code->width + 2 * quietModules;
  QImage small(modules, modules, QImage::Format_RGB32);
  small.fill(Qt::white);
  for (int y = 0; y < code->width; ++y)
    for (int x = 0; x < code->width; ++x)
      if ((code->data[y * code->width + x] & 1) != 0)
        small.setPixel(x + quietModules, y + quietModules, qRgb(0, 0, 0));
  return small.scaled(modules * moduleSide, modules * moduleSide, Qt::KeepAspectRatio,
                      Qt::FastTransformation);
}

QrView::QrView() {
  setFixedSize(viewSide, viewSide);
  setAccessibleName(QStringLiteral("QR code with the address of this host"));
}

void QrView::show(const std::string& text) {
  if (text == shown_) return;
  shown_ = text;
  image_ = qrImage(text);
  update();
}

void QrView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(Qt::white);
  painter.drawRoundedRect(rect(), 8, 8);
  if (image_.isNull()) return;
  const int modules = image_.width() / moduleSide;
  const double ratio = devicePixelRatioF();
  const int pixels = std::max(1, static_cast<int>(width() * ratio) / modules) * modules;
  const double side = pixels / ratio;
  // A whole number of the screen's pixels from the corner.
  const double offset = std::floor((width() - side) / 2 * ratio) / ratio;
  painter.setRenderHint(QPainter::Antialiasing, false);
  painter.drawImage(QRectF(offset, offset, side, side), image_);
}

}  // namespace quorl
