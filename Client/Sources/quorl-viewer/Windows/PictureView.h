// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>

#include <QWidget>

#include <quorl-viewer/Picture/PicturePainter.h>
#include <quorl-viewer/Picture/PictureSlot.h>
#include <quorl-viewer/Pointer/Viewport.h>
#include <quorl-viewer/Windows/ExposureWatch.h>

namespace quorl::viewer {

/// The part of the window that shows the picture. It paints the newest picture straight into the window's
/// pixels, so that nothing is copied twice, and hands every input event to its handlers.
///
/// *Queue*: the GUI thread. *Ownership*: its parent's. *Lifetime*: handlers must outlive it.
class PictureView : public QWidget {
 public:
  struct Handlers {
    std::function<std::optional<TimedPicture>()> takePicture;
    /// The picture is on the window's surface.
    std::function<void(const PictureTiming&)> painted;
    /// True if the event was used. Key, focus, pointer, wheel, gesture and input-method events.
    std::function<bool(QEvent&)> input;
    /// Size of the view or place of the picture in it.
    std::function<void()> layoutChanged;
    std::function<void(bool isVisible)> visibilityChanged;
  };

  explicit PictureView(Handlers handlers);

  /// Shows the waiting picture with the next repaint.
  void pictureReady();
  /// Shows nothing until the next picture.
  void clear();
  void setScale(ScaleMode mode, double factor);
  void setDimmed(bool isDimmed);
  /// Moves what is seen of a picture that is larger than the view, by device pixels, as far as it goes. True
  /// if it moved.
  bool pan(int dx, int dy);

  const Viewport& viewport() const { return viewport_; }
  /// In points, for the host.
  PointSize viewSize() const;
  bool hasPicture() const { return picture_.has_value(); }
  const client::DecodedPicture* picture() const { return picture_ ? &picture_->picture : nullptr; }

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  QVariant inputMethodQuery(Qt::InputMethodQuery query) const override;
  bool focusNextPrevChild(bool) override { return false; }  // Tab belongs to the host
  QSize sizeHint() const override { return {1280, 800}; }
  QSize minimumSizeHint() const override { return {160, 120}; }

 private:
  void updateViewport();
  void updatePart(const PixelRect& part);
  PixelSize deviceSize() const;
  PixelRect devicePart(const QRect& part) const;
  void paintOn(const Canvas& canvas, const PixelRect& damaged);

  const Handlers handlers_;
  std::optional<TimedPicture> picture_;
  bool isNew_ = false;  // not painted yet
  bool isDimmed_ = false;
  ScaleMode mode_ = ScaleMode::fit;
  double factor_ = 1;
  Viewport viewport_;
  PicturePainter painter_;
  ExposureWatch exposure_{[this](bool isExposed) { handlers_.visibilityChanged(isExposed); }};
};

}  // namespace quorl::viewer
