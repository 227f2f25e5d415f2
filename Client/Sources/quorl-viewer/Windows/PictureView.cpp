// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Windows/PictureView.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include <QBackingStore>
#include <QImage>
#include <QPaintEvent>
#include <QPainter>
#include <QWindow>

#include <quorl-viewer/Picture/PictureChanges.h>

namespace quorl::viewer {

namespace {

constexpr QRgb letterbox = 0xFF000000;

// The window's pixels, if the toolkit keeps them in memory in the form that the painter makes.
QImage* surfaceOf(QWidget& widget) {
  QBackingStore* store = widget.backingStore();
  QPaintDevice* device = store != nullptr ? store->paintDevice() : nullptr;
  if (device == nullptr || device->devType() != QInternal::Image) return nullptr;
  auto* image = static_cast<QImage*>(device);
  const bool fits =
      image->format() == QImage::Format_RGB32 || image->format() == QImage::Format_ARGB32_Premultiplied;
  return fits ? image : nullptr;
}

void fill(const Canvas& canvas, const PixelRect& part) {
  for (int y = part.y; y < part.y + part.height; ++y) {
    auto* row = reinterpret_cast<QRgb*>(canvas.pixels + static_cast<std::size_t>(y) * canvas.stride);
    std::fill_n(row + part.x, part.width, letterbox);
  }
}

// What of `whole` is not in `hole`: above, below, left, right.
void fillAround(const Canvas& canvas, const PixelRect& whole, const PixelRect& hole) {
  const int bottom = whole.y + whole.height;
  const int right = whole.x + whole.width;
  if (hole.width <= 0 || hole.height <= 0) return fill(canvas, whole);
  fill(canvas, {whole.x, whole.y, whole.width, hole.y - whole.y});
  fill(canvas, {whole.x, hole.y + hole.height, whole.width, bottom - hole.y - hole.height});
  fill(canvas, {whole.x, hole.y, hole.x - whole.x, hole.height});
  fill(canvas, {hole.x + hole.width, hole.y, right - hole.x - hole.width, hole.height});
}

}  // namespace

PictureView::PictureView(Handlers handlers) : handlers_(std::move(handlers)) {
  setAttribute(Qt::WA_OpaquePaintEvent);
  setAttribute(Qt::WA_NoSystemBackground);
  setMouseTracking(true);
  setFocusPolicy(Qt::StrongFocus);
  setAccessibleName(QStringLiteral("Screen of the host"));
}

void PictureView::pictureReady() {
  auto next = handlers_.takePicture();
  if (!next) return;
  const bool isOtherSize = !picture_ || !(picture_->picture.size() == next->picture.size());
  const auto planes = next->picture.planes();
  const auto before = picture_ ? picture_->picture.planes() : std::nullopt;
  const PixelRect changed =
      before && planes ? changedPart(*before, *planes) : PixelRect::of(next->picture.size());
  picture_ = std::move(next);
  if (isOtherSize) updateViewport();
  const PixelRect part =
      shownPart(changed, picture_->picture.size(), viewport_.target()).intersectionWith(viewport_.visible());
  // The screen shows it already, unless a repaint is due anyway.
  if (part.isEmpty() && !isOtherSize && !isNew_) return handlers_.painted(picture_->timing);
  isNew_ = true;
  if (isOtherSize)
    update();
  else
    updatePart(part);
}

void PictureView::updatePart(const PixelRect& part) {
  const double scale = devicePixelRatioF();
  update(QRectF(part.x / scale, part.y / scale, part.width / scale, part.height / scale).toAlignedRect());
}

void PictureView::clear() {
  picture_.reset();
  updateViewport();
  update();
}

void PictureView::setScale(ScaleMode mode, double factor) {
  mode_ = mode;
  factor_ = factor;
  updateViewport();
  update();
}

void PictureView::setDimmed(bool isDimmed) {
  if (std::exchange(isDimmed_, isDimmed) != isDimmed) update();
}

bool PictureView::pan(int dx, int dy) {
  if (!viewport_.pan(dx, dy)) return false;
  update();
  handlers_.layoutChanged();
  return true;
}

PixelSize PictureView::deviceSize() const {
  const double scale = devicePixelRatioF();
  return {static_cast<int>(std::lround(width() * scale)), static_cast<int>(std::lround(height() * scale))};
}

PointSize PictureView::viewSize() const {
  return {static_cast<double>(width()), static_cast<double>(height())};
}

void PictureView::updateViewport() {
  viewport_.set({.picture = picture_ ? picture_->picture.size() : PixelSize{},
                 .view = deviceSize(),
                 .viewScale = devicePixelRatioF(),
                 .mode = mode_,
                 .factor = factor_});
  handlers_.layoutChanged();
}

void PictureView::resizeEvent(QResizeEvent*) {
  updateViewport();
}

void PictureView::paintOn(const Canvas& canvas, const PixelRect& damaged) {
  const PixelRect target = viewport_.target();
  const auto planes = picture_ ? picture_->picture.planes() : std::nullopt;
  if (!planes) return fill(canvas, damaged);
  fillAround(canvas, damaged, damaged.intersectionWith(target));
  const PixelRect source{0, 0, planes->size.width, planes->size.height};
  painter_.paint(*planes, canvas, source, target, damaged);
}

PixelRect PictureView::devicePart(const QRect& part) const {
  const double scale = devicePixelRatioF();
  const QRectF asked(QPointF(part.topLeft()) * scale, QSizeF(part.size()) * scale);
  const PixelSize size = deviceSize();
  const QRect box = asked.toAlignedRect().intersected(QRect(0, 0, size.width, size.height));
  return {box.x(), box.y(), box.width(), box.height()};
}

void PictureView::paintEvent(QPaintEvent* event) {
  const double scale = devicePixelRatioF();
  const PixelSize size = deviceSize();
  QImage* surface = surfaceOf(*this);
  const QPoint offset = (QPointF(mapTo(window(), QPoint())) * scale).toPoint();
  const bool isDirect =
      surface != nullptr && QRect(offset, QSize(size.width, size.height)).intersected(surface->rect()) ==
                                QRect(offset, QSize(size.width, size.height));
  if (isDirect) {
    const auto stride = static_cast<std::size_t>(surface->bytesPerLine());
    const Canvas canvas{surface->bits() + static_cast<std::size_t>(offset.y()) * stride +
                            static_cast<std::size_t>(offset.x()) * 4,
                        stride, size};
    // Between them are widgets over the picture that are not painted again, and nothing clips here.
    for (const QRect& part : event->region()) paintOn(canvas, devicePart(part));
  } else {
    const PixelRect box = devicePart(event->rect());
    QImage image(size.width, size.height, QImage::Format_RGB32);
    paintOn({image.bits(), static_cast<std::size_t>(image.bytesPerLine()), size}, box);
    image.setDevicePixelRatio(scale);
    QPainter(this).drawImage(event->rect(), image, QRectF(box.x, box.y, box.width, box.height));
  }
  if (isDimmed_) QPainter(this).fillRect(event->rect(), QColor(0, 0, 0, 140));
  if (std::exchange(isNew_, false) && picture_) handlers_.painted(picture_->timing);
}

bool PictureView::event(QEvent* event) {
  switch (event->type()) {
    case QEvent::ShortcutOverride:
      // Every key belongs to the host; the window's own chords come as key presses.
      event->accept();
      return true;
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::FocusIn:
    case QEvent::FocusOut:
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::NativeGesture:
    case QEvent::InputMethod:
      if (handlers_.input(*event)) {
        event->accept();
        return true;
      }
      break;
    case QEvent::Show:
      exposure_.watch(window()->windowHandle());
      handlers_.visibilityChanged(true);
      break;
    case QEvent::Hide:
      handlers_.visibilityChanged(false);
      break;
    default:
      break;
  }
  return QWidget::event(event);
}

QVariant PictureView::inputMethodQuery(Qt::InputMethodQuery query) const {
  if (query == Qt::ImEnabled) return testAttribute(Qt::WA_InputMethodEnabled);
  // Where the pointer is, because the place of the host's caret is not known.
  if (query == Qt::ImCursorRectangle) return QRect(mapFromGlobal(QCursor::pos()), QSize(1, 16));
  return QWidget::inputMethodQuery(query);
}

}  // namespace quorl::viewer
