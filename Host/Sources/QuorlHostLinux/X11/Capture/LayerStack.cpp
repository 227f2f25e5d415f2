// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/LayerStack.h>

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <xcb/render.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

namespace quorl {

namespace {

/// In pixels. Images of larger areas cost more memory than a picture of them is worth.
constexpr long largestArea = 1L << 26;

PixelRect movedBy(PixelRect rect, int x, int y) {
  rect.x += x;
  rect.y += y;
  return rect;
}

xcb_rectangle_t asX(const PixelRect& rect) {
  return {static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
          static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
}

}  // namespace

LayerStack::~LayerStack() {
  dropCanvas();
}

std::expected<void, PortError> LayerStack::arrange(const PixelRect& area,
                                                   std::span<const Wanted> bottomToTop) {
  if (static_cast<long>(area.width) * area.height > largestArea) {
    return std::unexpected(
        PortError{fmt::format("a window of {} x {} is too large to be shown", area.width, area.height)});
  }
  area_ = area;
  std::vector<std::uint32_t> before;
  for (const auto& each : layers_) before.push_back(each.layer->window());
  std::vector<Placed> next;
  for (const auto& wanted : bottomToTop) next.push_back(placed(wanted));
  for (const auto& gone : layers_)
    if (gone.layer) markDirty(gone.place);
  layers_ = std::move(next);
  // A window that has changed its place among the others is drawn anew.
  auto at = before.begin();
  for (const auto& each : layers_) {
    const auto found = std::find(at, before.end(), each.layer->window());
    if (found == before.end()) {
      markDirty(each.place);
    } else {
      at = found + 1;
    }
  }
  const PixelSize size{area.width, area.height};
  return image_ && image_->size() == size ? std::expected<void, PortError>{} : resize(size);
}

LayerStack::Placed LayerStack::placed(const Wanted& wanted) {
  const TopLevel& window = wanted.window;
  const auto known = std::ranges::find_if(
      layers_, [&](const Placed& each) { return each.layer && each.layer->window() == window.window; });
  Placed result;
  if (known == layers_.end()) {
    result.layer = std::make_unique<WindowLayer>(connection_, window, scene_.formats.ofVisual(wanted.visual),
                                                 scene_.windows.covers(window.window));
  } else {
    result = std::move(*known);
  }
  const PixelRect before = result.place;
  bool isNew = false;
  if (result.pixmap != window.pixmap && result.layer->renew(window.borderWidth)) {
    result.pixmap = window.pixmap;
    isNew = true;
  }
  const PixelSize size = result.layer->size();
  result.place = {window.bounds.x - area_.x, window.bounds.y - area_.y, size.width, size.height};
  if (isNew || result.place != before) {
    markDirty(before);
    markDirty(result.place);
  }
  return result;
}

std::expected<void, PortError> LayerStack::resize(PixelSize size) {
  auto image = SharedImage::make(connection_, size);
  if (!image) return std::unexpected(image.error());
  image_ = std::move(*image);
  dropCanvas();
  dirty_ = DirtyRegion(PixelRect::of(size));
  return {};
}

bool LayerStack::handle(const void* event) {
  return std::ranges::any_of(layers_, [event](auto& each) { return each.layer->handle(event); });
}

bool LayerStack::hasPixels() const {
  return std::ranges::any_of(layers_, [](const auto& each) { return each.layer->pixmap() != 0; });
}

bool LayerStack::isDirty() const {
  return !dirty_.isEmpty() ||
         std::ranges::any_of(layers_, [](const auto& each) { return each.layer->isDamaged(); });
}

DirtyRegion LayerStack::refresh() {
  const DirtyRegion dirty = takeDirt();
  if (dirty.isEmpty()) return dirty;
  if (isDirect()) {
    dropCanvas();
    const auto& [layer, place, pixmap] = layers_.front();
    image_->request(layer->pixmap(), -place.x, -place.y, dirty.rects());
  } else {
    paint(dirty);
    image_->request(canvas_, 0, 0, dirty.rects());
  }
  return dirty;
}

void LayerStack::markDirty(const PixelRect& place) {
  dirty_.add(place);
}

// The server clears the damage before the pixels are read, so a change in between is reported again.
DirtyRegion LayerStack::takeDirt() {
  const DirtyRegion marked = std::exchange(dirty_, {});
  const PixelRect whole = PixelRect::of(image_->size());
  DirtyRegion result;
  for (const auto& rect : marked.rects()) result.add(rect.intersectionWith(whole));
  for (auto& [layer, place, pixmap] : layers_) {
    if (!layer->isDamaged()) continue;
    const DirtyRegion damaged = layer->takeDamage();
    const PixelRect seen = place.intersectionWith(whole);
    // Damage does not count the border.
    const int x = place.x + layer->borderWidth();
    const int y = place.y + layer->borderWidth();
    for (const auto& rect : damaged.rects()) result.add(movedBy(rect, x, y).intersectionWith(seen));
  }
  return result;
}

/// True when one window fills the image, and its pixels need no conversion.
bool LayerStack::isDirect() const {
  if (layers_.size() != 1) return false;
  const auto& [layer, place, pixmap] = layers_.front();
  if (layer->pixmap() == 0 || !place.contains(PixelRect::of(image_->size()))) return false;
  return !layer->isShaped() && layer->foreign() == 0 && layer->format().isBGR;
}

// The pictures of several windows show one moment: no client draws between the first and the last request.
void LayerStack::paint(const DirtyRegion& dirty) {
  xcb_connection_t* xcb = connection_.xcb();
  DirtyRegion stale = dirty;
  if (canvas_ == 0) {
    const PixelSize size = image_->size();
    canvas_ = xcb_generate_id(xcb);
    xcb_create_pixmap(xcb, scene_.formats.rootDepth(), canvas_, connection_.root(),
                      static_cast<std::uint16_t>(size.width), static_cast<std::uint16_t>(size.height));
    canvasPicture_ = xcb_generate_id(xcb);
    xcb_render_create_picture(xcb, canvasPicture_, canvas_, scene_.formats.ofRoot().id, 0, nullptr);
    stale = DirtyRegion(PixelRect::of(size));
  }
  xcb_grab_server(xcb);
  blacken(stale);
  for (const auto& each : layers_) {
    if (each.layer->isShaped()) limitTo(each.layer->shape(), each);
    paintLayer(each, stale);
    if (each.layer->isShaped()) limitTo(XCB_NONE, each);
    if (each.layer->foreign() == 0) continue;
    limitTo(each.layer->foreign(), each);
    blacken(stale);
    limitTo(XCB_NONE, each);
  }
  xcb_ungrab_server(xcb);
}

void LayerStack::paintLayer(const Placed& each, const DirtyRegion& dirty) {
  WindowLayer& layer = *each.layer;
  const std::uint32_t source = layer.picture();
  if (source == 0) return;
  const PixelRect& place = each.place;
  const auto operation = layer.format().hasAlpha ? XCB_RENDER_PICT_OP_OVER : XCB_RENDER_PICT_OP_SRC;
  for (const auto& rect : dirty.rects()) {
    const PixelRect part = rect.intersectionWith(place);
    if (part.isEmpty()) continue;
    const xcb_rectangle_t to = asX(part);
    xcb_render_composite(connection_.xcb(), static_cast<std::uint8_t>(operation), source, XCB_NONE,
                         canvasPicture_, static_cast<std::int16_t>(part.x - place.x),
                         static_cast<std::int16_t>(part.y - place.y), 0, 0, to.x, to.y, to.width, to.height);
  }
}

void LayerStack::blacken(const DirtyRegion& dirty) {
  std::vector<xcb_rectangle_t> rects;
  std::ranges::transform(dirty.rects(), std::back_inserter(rects), asX);
  xcb_render_fill_rectangles(connection_.xcb(), XCB_RENDER_PICT_OP_SRC, canvasPicture_, {0, 0, 0, 0xFFFF},
                             static_cast<std::uint32_t>(rects.size()), rects.data());
}

// Windows' regions do not count the border; pixmaps do.
void LayerStack::limitTo(std::uint32_t region, const Placed& each) {
  const int border = each.layer->borderWidth();
  xcb_xfixes_set_picture_clip_region(connection_.xcb(), canvasPicture_, region,
                                     static_cast<std::int16_t>(each.place.x + border),
                                     static_cast<std::int16_t>(each.place.y + border));
}

void LayerStack::dropCanvas() {
  xcb_connection_t* xcb = connection_.xcb();
  const auto picture = std::exchange(canvasPicture_, 0);
  if (picture != 0) xcb_render_free_picture(xcb, picture);
  const auto canvas = std::exchange(canvas_, 0);
  if (canvas != 0) xcb_free_pixmap(xcb, canvas);
}

}  // namespace quorl
