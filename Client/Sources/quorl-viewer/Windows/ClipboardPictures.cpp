// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/ClipboardPictures.h>

#include <QBuffer>
#include <QImageReader>

namespace quorl::viewer {

namespace {

constexpr qint64 mostPixels = 64'000'000;

SHA256Digest digestOf(const QImage& picture) {
  const QImage pixels = picture.convertToFormat(QImage::Format_RGBA8888);
  SHA256 digest;
  const auto size = std::to_string(pixels.width()) + "x" + std::to_string(pixels.height());
  digest.update(viewOf(size));
  for (int row = 0; row < pixels.height(); ++row)
    digest.update(ByteView(pixels.constScanLine(row), static_cast<std::size_t>(pixels.width()) * 4));
  return digest.finish();
}

}  // namespace

std::optional<ClipboardItem> pictureItem(Bytes png) {
  QBuffer buffer;
  buffer.setData(
      QByteArray::fromRawData(reinterpret_cast<const char*>(png.data()), static_cast<qsizetype>(png.size())));
  QImageReader reader(&buffer, "PNG");
  const QSize size = reader.size();
  if (!size.isValid() || qint64{size.width()} * size.height() > mostPixels) return std::nullopt;
  const QImage picture = reader.read();
  if (picture.isNull()) return std::nullopt;
  const auto digest = digestOf(picture);
  return ClipboardItem{ClipboardKind::image, shareBytes(std::move(png)), digest};
}

std::optional<ClipboardItem> pictureItem(const QImage& picture) {
  if (picture.isNull() || qint64{picture.width()} * picture.height() > mostPixels) return std::nullopt;
  QBuffer buffer;
  if (!buffer.open(QIODevice::WriteOnly) || !picture.save(&buffer, "PNG")) return std::nullopt;
  const QByteArray& png = buffer.data();
  return ClipboardItem{ClipboardKind::image, shareBytes(Bytes(png.begin(), png.end())), digestOf(picture)};
}

}  // namespace quorl::viewer
