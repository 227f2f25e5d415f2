// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

#include <QImage>
#include <QWidget>

namespace quorl {

/// The QR code (ISO/IEC 18004, error correction level M) of a text with its quiet zone of four modules. Each
/// module is ten pixels wide. Null for a text that is too long.
QImage qrImage(const std::string& text);

/// Shows a QR code. Each module is drawn with the same number of the screen's pixels, so that cameras read
/// it.
class QrView : public QWidget {
 public:
  QrView();
  /// Makes a new image only if the text is another one.
  void show(const std::string& text);
  const QImage& image() const { return image_; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  std::string shown_;
  QImage image_;
};

}  // namespace quorl
