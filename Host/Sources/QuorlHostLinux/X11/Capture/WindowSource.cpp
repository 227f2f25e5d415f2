// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/CaptureSource.h>

#include <fmt/format.h>
#include <xcb/composite.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

/// One window with its frame, including parts that others cover: the server draws it into a pixmap
/// (COMPOSITE, automatic redirection). Each mapping and each new size makes a new pixmap. While the window is
/// not mapped, the last one stays.
class WindowSource final : public CaptureSource {
 public:
  WindowSource(X11Connection& connection, std::uint32_t window) : connection_(connection), window_(window) {}
  ~WindowSource() override {
    leaveFrame();
    watch(window_, XCB_EVENT_MASK_NO_EVENT);
  }
  WindowSource(const WindowSource&) = delete;
  WindowSource& operator=(const WindowSource&) = delete;

  std::expected<void, PortError> open() {
    watch(window_, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    return enterFrame();
  }

  std::expected<void, PortError> handle(const void* event) override {
    if (mirror_->handle(event)) return {};
    const auto& generic = *static_cast<const xcb_generic_event_t*>(event);
    switch (generic.response_type & 0x7F) {
      case XCB_DESTROY_NOTIFY:
        if (static_cast<const xcb_destroy_notify_event_t*>(event)->window == window_) return closed();
        return {};
      case XCB_REPARENT_NOTIFY:
        if (static_cast<const xcb_reparent_notify_event_t*>(event)->window != window_) return {};
        leaveFrame();
        return enterFrame();
      case XCB_CONFIGURE_NOTIFY:
        return configured(*static_cast<const xcb_configure_notify_event_t*>(event));
      case XCB_MAP_NOTIFY:
        if (static_cast<const xcb_map_notify_event_t*>(event)->window != place_.frame) return {};
        return showPixmap();
      default:
        return {};
    }
  }

  std::expected<void, PortError> monitorsChanged(const std::vector<Monitor>& /*monitors*/) override {
    return {};
  }

  bool isDirty() const override { return mirror_->isDirty(); }
  DirtyRegion refresh() override { return mirror_->refresh(); }
  std::expected<void, PortError> finish() override { return mirror_->finish(); }
  PixelRect area() const override { return place_.bounds; }
  SharedImage& image() override { return mirror_->image(); }

 private:
  std::unexpected<PortError> closed() const { return std::unexpected(PortError{"the window was closed"}); }

  void watch(std::uint32_t window, std::uint32_t events) {
    xcb_change_window_attributes(connection_.xcb(), window, XCB_CW_EVENT_MASK, &events);
  }

  std::expected<void, PortError> enterFrame() {
    const auto place = findPlace(connection_, window_);
    if (!place) return closed();
    place_ = *place;
    if (place_.frame != window_) watch(place_.frame, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
    xcb_composite_redirect_window(connection_.xcb(), place_.frame, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    mirror_ = std::make_unique<DamageMirror>(connection_, place_.frame);
    return showPixmap();
  }

  void leaveFrame() {
    if (place_.frame == 0) return;
    mirror_.reset();
    freePixmap();
    xcb_composite_unredirect_window(connection_.xcb(), place_.frame, XCB_COMPOSITE_REDIRECT_AUTOMATIC);
    if (place_.frame != window_) watch(place_.frame, XCB_EVENT_MASK_NO_EVENT);
    place_.frame = 0;
  }

  std::expected<void, PortError> configured(const xcb_configure_notify_event_t& event) {
    if (event.window != place_.frame) return {};
    const PixelRect bounds{event.x, event.y, event.width + 2 * event.border_width,
                           event.height + 2 * event.border_width};
    const bool isResized = bounds.width != place_.bounds.width || bounds.height != place_.bounds.height;
    place_.bounds = bounds;
    place_.borderWidth = event.border_width;
    return isResized ? showPixmap() : std::expected<void, PortError>{};
  }

  std::expected<void, PortError> showPixmap() {
    const std::uint32_t pixmap = xcb_generate_id(connection_.xcb());
    const XcbReply<xcb_generic_error_t> refused(
        xcb_request_check(connection_.xcb(),
                          xcb_composite_name_window_pixmap_checked(connection_.xcb(), place_.frame, pixmap)));
    if (refused) {
      // Not mapped. The last picture stays, if there is one.
      if (pixmap_ != 0) return {};
      return std::unexpected(PortError{"the window is not shown on the screen", refused->error_code});
    }
    // The size of the pixmap counts, not that of the last event: a newer event may be pending.
    const XcbReply<xcb_get_geometry_reply_t> size(
        xcb_get_geometry_reply(connection_.xcb(), xcb_get_geometry(connection_.xcb(), pixmap), nullptr));
    if (!size) return closed();
    freePixmap();
    pixmap_ = pixmap;
    place_.bounds.width = size->width;
    place_.bounds.height = size->height;
    return mirror_->show(pixmap_, {0, 0, size->width, size->height});
  }

  void freePixmap() {
    if (pixmap_ != 0) xcb_free_pixmap(connection_.xcb(), pixmap_);
    pixmap_ = 0;
  }

  X11Connection& connection_;
  std::uint32_t window_;
  WindowPlace place_;
  std::uint32_t pixmap_ = 0;
  std::unique_ptr<DamageMirror> mirror_;
};

}  // namespace

std::expected<std::unique_ptr<CaptureSource>, PortError> makeWindowSource(X11Connection& connection,
                                                                          std::uint32_t window) {
  if (!connection.extensions().composite.present) {
    return std::unexpected(PortError{"the display cannot show a window alone (no COMPOSITE)"});
  }
  auto source = std::make_unique<WindowSource>(connection, window);
  if (auto opened = source->open(); !opened) return std::unexpected(opened.error());
  return source;
}

}  // namespace quorl
