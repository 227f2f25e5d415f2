// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/DamageMirror.h>

#include <utility>

namespace quorl {

DamageMirror::DamageMirror(X11Connection& connection, std::uint32_t watched)
    : connection_(connection), damage_(connection, watched) {}

std::expected<void, PortError> DamageMirror::show(std::uint32_t drawable, const PixelRect& area) {
  const PixelSize size{area.width, area.height};
  if (!image_ || image_->size() != size) {
    auto image = SharedImage::make(connection_, size);
    if (!image) return std::unexpected(image.error());
    image_ = std::move(*image);
  }
  drawable_ = drawable;
  area_ = area;
  isWholeDirty_ = true;
  return {};
}

DirtyRegion DamageMirror::refresh() {
  // The server clears the damage before the pixels are read, so a change in between is reported again.
  const DirtyRegion damaged = takeDamage();
  DirtyRegion dirty;
  for (const auto& rect : damaged.rects()) {
    PixelRect common = rect.intersectionWith(area_);
    if (common.isEmpty()) continue;
    common.x -= area_.x;
    common.y -= area_.y;
    dirty.add(common);
  }
  if (!dirty.isEmpty()) image_->request(drawable_, area_.x, area_.y, dirty.rects());
  return dirty;
}

std::expected<void, PortError> DamageMirror::finish() {
  auto finished = image_->awaitAll();
  if (!finished) isWholeDirty_ = true;
  return finished;
}

DirtyRegion DamageMirror::takeDamage() {
  if (!std::exchange(isWholeDirty_, false)) return damage_.take();
  damage_.skip();
  return DirtyRegion(area_);
}

}  // namespace quorl
