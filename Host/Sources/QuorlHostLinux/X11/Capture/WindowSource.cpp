// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/CaptureSource.h>

#include <algorithm>
#include <array>
#include <optional>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Capture/LayerStack.h>
#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>

namespace quorl {

namespace {

/// One window as the person sees it (`WindowPlace::visible`), and the menus, tooltips and dialogs that lie
/// over it. While the window is not mapped, the last picture stays.
class WindowSource final : public CaptureSource {
 public:
  WindowSource(X11Connection& connection, std::shared_ptr<Scene> scene, std::uint32_t window)
      : connection_(connection), scene_(std::move(scene)), window_(window), stack_(connection, *scene_) {
    scene_->watch.add(window_);
  }
  ~WindowSource() override { scene_->watch.remove(window_); }
  WindowSource(const WindowSource&) = delete;
  WindowSource& operator=(const WindowSource&) = delete;

  std::expected<void, PortError> open() {
    const auto client = readClientWindow(connection_, window_);
    if (!client) return closed();
    client_ = *client;
    return settle();
  }

  std::expected<void, PortError> handle(const void* event) override {
    if (stack_.handle(event)) return {};
    const auto& generic = *static_cast<const xcb_generic_event_t*>(event);
    // Without the events that programs send: only the server's own count.
    switch (generic.response_type) {
      case XCB_DESTROY_NOTIFY:
        if (static_cast<const xcb_destroy_notify_event_t*>(event)->window == window_) return closed();
        return {};
      case XCB_REPARENT_NOTIFY:
        if (static_cast<const xcb_reparent_notify_event_t*>(event)->window == window_) place_.reset();
        return {};
      case XCB_CONFIGURE_NOTIFY:
        if (static_cast<const xcb_configure_notify_event_t*>(event)->window == window_) place_.reset();
        return {};
      case XCB_MAP_NOTIFY:
        if (static_cast<const xcb_map_notify_event_t*>(event)->window == window_) place_.reset();
        return {};
      case XCB_UNMAP_NOTIFY:
        if (static_cast<const xcb_unmap_notify_event_t*>(event)->window == window_) place_.reset();
        return {};
      case XCB_PROPERTY_NOTIFY:
        handleProperty(*static_cast<const xcb_property_notify_event_t*>(event));
        return {};
      default:
        return {};
    }
  }

  std::expected<void, PortError> settle() override {
    const std::uint64_t generation = scene_->windows.generation();
    if (place_ && generation == settled_) return {};
    const TopLevel* frame = place_ ? scene_->windows.find(place_->frame) : nullptr;
    // A window manager may resize its frame alone, for instance when it shades the window.
    const bool isResized = frame != nullptr && (frame->bounds.width != place_->bounds.width ||
                                                frame->bounds.height != place_->bounds.height);
    if (!place_ || isResized) {
      place_ = findPlace(connection_, window_);
      // Either the window is gone, or its frame has just gone with its window manager. An event reports
      // which.
      if (!place_) return {};
      frame = scene_->windows.find(place_->frame);
    }
    settled_ = generation;
    if (frame == nullptr || !frame->isMapped) return {};
    return show(*frame);
  }

  std::expected<void, PortError> monitorsChanged(const std::vector<Monitor>& /*monitors*/) override {
    return {};
  }

  bool isShowing() const override { return stack_.hasImage() && stack_.hasPixels(); }
  bool isDirty() const override { return stack_.isDirty(); }
  DirtyRegion refresh() override { return stack_.refresh(); }
  std::expected<void, PortError> finish() override { return stack_.finish(); }
  PixelRect area() const override { return stack_.area(); }
  SharedImage& image() override { return stack_.image(); }

 private:
  std::unexpected<PortError> closed() const { return std::unexpected(PortError{"the window was closed"}); }

  void handleProperty(const xcb_property_notify_event_t& event) {
    if (event.window != window_) return;
    if (event.atom == connection_.atom("_GTK_FRAME_EXTENTS") ||
        event.atom == connection_.atom("_NET_FRAME_EXTENTS"))
      return place_.reset();
    const std::array related{static_cast<std::uint32_t>(XCB_ATOM_WM_HINTS),
                             static_cast<std::uint32_t>(XCB_ATOM_WM_TRANSIENT_FOR),
                             connection_.atom("WM_CLIENT_LEADER")};
    if (std::ranges::find(related, event.atom) == related.end()) return;
    if (const auto client = readClientWindow(connection_, window_)) client_ = *client;
    settled_ = 0;
  }

  std::expected<void, PortError> show(const TopLevel& frame) {
    TopLevels& windows = scene_->windows;
    // The frame may have moved since the place was read.
    const PixelRect area = shrunk(frame.bounds, between(place_->visible, place_->bounds));
    const auto find = [&windows](std::uint32_t window) { return windows.findClient(window); };
    std::vector<LayerStack::Wanted> wanted;
    bool isAbove = false;
    for (const auto& window : windows.bottomToTop()) {
      const bool isFrame = window.window == frame.window;
      isAbove = isAbove || isFrame;
      if (!isAbove || !window.isMapped) continue;
      // Also of a window outside the area: another one may be its dialog.
      const WindowOwner* owner = windows.owner(window.window);
      if (owner == nullptr && isFrame) return {};
      if (owner == nullptr || window.bounds.intersectionWith(area).isEmpty()) continue;
      if (isFrame || belongsOver(client_, *owner, connection_.root(), find)) {
        wanted.push_back({window, owner->visual});
      }
    }
    return stack_.arrange(area, wanted);
  }

  X11Connection& connection_;
  std::shared_ptr<Scene> scene_;
  std::uint32_t window_;
  ClientWindow client_;
  std::optional<WindowPlace> place_;  // absent: to be read
  std::uint64_t settled_ = 0;         // the generation of the windows that is shown; 0: none
  LayerStack stack_;
};

}  // namespace

std::expected<std::unique_ptr<CaptureSource>, PortError> makeWindowSource(X11Connection& connection,
                                                                          std::shared_ptr<Scene> scene,
                                                                          std::uint32_t window) {
  auto source = std::make_unique<WindowSource>(connection, std::move(scene), window);
  if (auto opened = source->open(); !opened) return std::unexpected(opened.error());
  return source;
}

}  // namespace quorl
