// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/CursorOverlay.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

void selectRawMotion(X11Connection& connection, std::uint32_t events) {
  if (!connection.extensions().xinput.present) return;
  struct {
    xcb_input_event_mask_t head;
    std::uint32_t mask;
  } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, events};
  xcb_input_xi_select_events(connection.xcb(), connection.root(), 1, &selection.head);
}

}  // namespace

std::uint32_t blendOver(std::uint32_t over, std::uint32_t under) {
  const std::uint32_t alpha = over >> 24;
  if (alpha == 0xFF) return over;
  std::uint32_t result = 0xFF000000;
  for (const int shift : {0, 8, 16}) {
    const std::uint32_t below = (under >> shift) & 0xFF;
    const std::uint32_t above = (over >> shift) & 0xFF;
    result |= std::min<std::uint32_t>(above + (below * (0xFF - alpha) + 127) / 0xFF, 0xFF) << shift;
  }
  return result;
}

bool CursorOverlay::handle(const void* event, const X11Connection& connection) {
  const auto& generic = *static_cast<const xcb_ge_generic_event_t*>(event);
  const int type = generic.response_type & 0x7F;
  if (type == XCB_MOTION_NOTIFY) {
    isMoved_ = true;
    return true;
  }
  const auto& extensions = connection.extensions();
  if (type == XCB_GE_GENERIC && extensions.xinput.present &&
      generic.extension == extensions.xinput.majorOpcode && generic.event_type == XCB_INPUT_RAW_MOTION) {
    isMoved_ = true;
    return true;
  }
  if (extensions.xfixes.present && type == extensions.xfixes.firstEvent + XCB_XFIXES_CURSOR_NOTIFY) {
    isNewImage_ = true;
    return true;
  }
  return false;
}

// Raw motion reports every device, but no warp. Core motion at the root reports warps wherever no window
// takes the motion. An XInput2 selection of motion would take the core events of other clients away.
void CursorOverlay::select(X11Connection& connection) {
  xcb_xfixes_select_cursor_input(connection.xcb(), connection.root(),
                                 XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
  selectRawMotion(connection, XCB_INPUT_XI_EVENT_MASK_RAW_MOTION);
  connection.selectRootEvents(XCB_EVENT_MASK_POINTER_MOTION);
  isMoved_ = isNewImage_ = true;
}

void CursorOverlay::unselect(X11Connection& connection) {
  xcb_xfixes_select_cursor_input(connection.xcb(), connection.root(), 0);
  selectRawMotion(connection, 0);
  connection.unselectRootEvents(XCB_EVENT_MASK_POINTER_MOTION);
}

void CursorOverlay::request(X11Connection& connection) {
  if (isNewImage_) {
    query_ = Query::image;
    sequence_ = xcb_xfixes_get_cursor_image(connection.xcb()).sequence;
  } else {
    query_ = Query::position;
    sequence_ = xcb_query_pointer(connection.xcb(), connection.root()).sequence;
  }
  isMoved_ = isNewImage_ = false;
}

void CursorOverlay::receive(X11Connection& connection) {
  const Query query = std::exchange(query_, Query::none);
  if (query == Query::none) return;
  const PixelRect before = bounds_;
  if (query == Query::image) {
    readImage(connection);
  } else {
    readPosition(connection);
  }
  bounds_ = {x_ - hotX_, y_ - hotY_, imageSize_.width, imageSize_.height};
  if (query == Query::image || bounds_ != before) ++generation_;
}

void CursorOverlay::readImage(X11Connection& connection) {
  const XcbReply<xcb_xfixes_get_cursor_image_reply_t> reply(
      xcb_xfixes_get_cursor_image_reply(connection.xcb(), {sequence_}, nullptr));
  if (!reply) return;
  const auto* pixels = xcb_xfixes_get_cursor_image_cursor_image(reply.get());
  const auto count = static_cast<std::size_t>(xcb_xfixes_get_cursor_image_cursor_image_length(reply.get()));
  image_.assign(pixels, pixels + count);
  // A hidden pointer is an image without a visible pixel.
  const bool isVisible = std::ranges::any_of(image_, [](auto pixel) { return pixel >> 24 != 0; });
  imageSize_ = isVisible ? PixelSize{reply->width, reply->height} : PixelSize{};
  hotX_ = reply->xhot;
  hotY_ = reply->yhot;
  x_ = reply->x;
  y_ = reply->y;
}

void CursorOverlay::readPosition(X11Connection& connection) {
  const XcbReply<xcb_query_pointer_reply_t> reply(
      xcb_query_pointer_reply(connection.xcb(), {sequence_}, nullptr));
  if (!reply) return;
  x_ = reply->root_x;
  y_ = reply->root_y;
}

void CursorOverlay::putOn(std::uint8_t* pixels, std::size_t stride, const PixelRect& area) {
  const PixelRect seen = bounds_.intersectionWith(area);
  keptRect_ = {seen.x - area.x, seen.y - area.y, seen.width, seen.height};
  if (seen.isEmpty()) return;
  keptPixels_ = pixels;
  keptStride_ = stride;
  kept_.resize(static_cast<std::size_t>(seen.width) * static_cast<std::size_t>(seen.height));
  const auto width = static_cast<std::size_t>(seen.width);
  std::uint32_t* kept = kept_.data();
  for (int row = 0; row < seen.height; ++row, kept += width) {
    std::uint8_t* line = pixels + static_cast<std::size_t>(keptRect_.y + row) * stride +
                         static_cast<std::size_t>(keptRect_.x) * 4;
    std::memcpy(kept, line, width * 4);
    const std::uint32_t* over =
        image_.data() +
        static_cast<std::size_t>(seen.y + row - bounds_.y) * static_cast<std::size_t>(imageSize_.width) +
        static_cast<std::size_t>(seen.x - bounds_.x);
    for (std::size_t i = 0; i < width; ++i) {
      const std::uint32_t mixed = blendOver(over[i], kept[i]);
      std::memcpy(line + i * 4, &mixed, 4);
    }
  }
}

void CursorOverlay::takeOff() {
  const auto width = static_cast<std::size_t>(std::max(keptRect_.width, 0));
  for (int row = 0; row < keptRect_.height; ++row) {
    std::memcpy(keptPixels_ + static_cast<std::size_t>(keptRect_.y + row) * keptStride_ +
                    static_cast<std::size_t>(keptRect_.x) * 4,
                kept_.data() + static_cast<std::size_t>(row) * width, width * 4);
  }
  keptRect_ = {};
}

}  // namespace quorl
