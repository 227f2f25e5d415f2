// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/PictureFile.h>

#include <QDateTime>
#include <QFileDialog>
#include <QStandardPaths>

namespace quorl::viewer {

QImage copyOf(const client::DecodedPicture& picture) {
  const Bytes pixels = picture.rgb();
  if (pixels.empty()) return {};
  return QImage(pixels.data(), picture.size().width, picture.size().height, picture.size().width * 3,
                QImage::Format_RGB888)
      .copy();
}

QString saveWithDialog(const QImage& picture, QWidget* parent) {
  const QString folder = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
  const QString name =
      QDateTime::currentDateTime().toString(QStringLiteral("'Screen' yyyy-MM-dd HH.mm.ss'.png'"));
  const QString path = QFileDialog::getSaveFileName(parent, QStringLiteral("Save picture"),
                                                    folder + "/" + name, QStringLiteral("Pictures (*.png)"));
  if (path.isEmpty()) return {};
  return picture.save(path, "PNG") ? QStringLiteral("Saved as %1").arg(path)
                                   : QStringLiteral("%1 cannot be written").arg(path);
}

}  // namespace quorl::viewer
