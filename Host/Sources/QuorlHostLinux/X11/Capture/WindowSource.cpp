// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/CaptureSource.h>

#include <algorithm>
#include <array>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Capture/FrameTrim.h>
#include <QuorlHostLinux/X11/Capture/LayerStack.h>
#include <QuorlHostLinux/X11/Windows/WindowCatalog.h>

namespace quorl {

namespace {

/// One window with its frame, and the menus, tooltips and dialogs that lie over it. While the window is not
/// mapped, the last picture stays.
class WindowSource final : public CaptureSource {
 public:
  WindowSource(X11Connection& connection, std::shared_ptr<Scene> scene, std::uint32_t window)
      : connection_(connection), scene_(std::move(scene)), window_(window), stack_(connection, *scene_) {}
  ~WindowSource() override { watch(XCB_EVENT_MASK_NO_EVENT); }
  WindowSource(const WindowSource&) = delete;
  WindowSource& operator=(const WindowSource&) = delete;

  std::expected<void, PortError> open() {
    watch(XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE);
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
        if (static_cast<const xcb_reparent_notify_event_t*>(event)->window != window_) return {};
        frame_ = 0;
        return {};
      case XCB_CONFIGURE_NOTIFY:
        if (static_cast<const xcb_configure_notify_event_t*>(event)->window == window_) forgetTrim();
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
    if (frame_ != 0 && generation == settled_) return {};
    if (frame_ == 0) {
      const auto place = findPlace(connection_, window_);
      if (!place) return closed();
      frame_ = place->frame;
      forgetTrim();
    }
    settled_ = generation;
    const TopLevel* frame = scene_->windows.find(frame_);
    if (frame == nullptr || !frame->isMapped) return {};
    if (!isTrimKnown_) trim_ = readFrameTrim(connection_, window_, frame_);
    isTrimKnown_ = true;
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

  void watch(std::uint32_t events) {
    xcb_change_window_attributes(connection_.xcb(), window_, XCB_CW_EVENT_MASK, &events);
  }

  void forgetTrim() {
    isTrimKnown_ = false;
    settled_ = 0;
  }

  void handleProperty(const xcb_property_notify_event_t& event) {
    if (event.window != window_) return;
    if (event.atom == connection_.atom("_GTK_FRAME_EXTENTS")) return forgetTrim();
    const std::array related{static_cast<std::uint32_t>(XCB_ATOM_WM_HINTS),
                             static_cast<std::uint32_t>(XCB_ATOM_WM_TRANSIENT_FOR),
                             connection_.atom("WM_CLIENT_LEADER")};
    if (std::ranges::find(related, event.atom) == related.end()) return;
    if (const auto client = readClientWindow(connection_, window_)) client_ = *client;
    settled_ = 0;
  }

  std::expected<void, PortError> show(const TopLevel& frame) {
    TopLevels& windows = scene_->windows;
    const PixelRect area = trimmed(frame.bounds, trim_);
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
  std::uint32_t frame_ = 0;    // 0: to be looked up
  std::uint64_t settled_ = 0;  // the generation of the windows that is shown; 0: none
  FrameTrim trim_;
  bool isTrimKnown_ = false;
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
