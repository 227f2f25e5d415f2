// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/PictureFile.h>

#include <QDateTime>
#include <QFileDialog>
#include <QStandardPaths>

#include <quorl-viewer/Windows/PlainText.h>

namespace quorl::viewer {

namespace {

QString proposal(QStandardPaths::StandardLocation folder, const QString& extension) {
  return QStandardPaths::writableLocation(folder) + QLatin1Char('/') +
         QDateTime::currentDateTime().toString(QStringLiteral("'Screen' yyyy-MM-dd HH.mm.ss")) + extension;
}

}  // namespace

QImage copyOf(const client::DecodedPicture& picture) {
  const Bytes pixels = picture.rgb();
  if (pixels.empty()) return {};
  return QImage(pixels.data(), picture.size().width, picture.size().height, picture.size().width * 3,
                QImage::Format_RGB888)
      .copy();
}

QString saveWithDialog(const QImage& picture, QWidget* parent) {
  const QString path = QFileDialog::getSaveFileName(
      parent, QStringLiteral("Save picture"),
      proposal(QStandardPaths::PicturesLocation, QStringLiteral(".png")), QStringLiteral("Pictures (*.png)"));
  if (path.isEmpty()) return {};
  return picture.save(path, "PNG") ? QStringLiteral("Saved as %1").arg(path)
                                   : QStringLiteral("%1 cannot be written. Choose another folder.").arg(path);
}

QString askForRecording(QWidget* parent) {
  return QFileDialog::getSaveFileName(parent, QStringLiteral("Record"),
                                      proposal(QStandardPaths::MoviesLocation, QStringLiteral(".mp4")),
                                      QStringLiteral("Recordings (*.mp4)"));
}

QString recordingText(const client::Outcome<Recorded>& result) {
  if (!result) return QStringLiteral("The recording failed: %1").arg(plain(result.error()));
  auto saved = QStringLiteral("Recorded as %1").arg(QString::fromStdString(result->path.string()));
  switch (result->end) {
    case Recorded::End::stopped:
      return saved;
    case Recorded::End::formatChanged:
      return QStringLiteral("The picture has another size now, which ends the recording. ") + saved;
    case Recorded::End::tooSlow:
      return QStringLiteral("The disk is too slow, which ends the recording. ") + saved;
  }
  return saved;
}

}  // namespace quorl::viewer
