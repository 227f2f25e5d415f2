// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Capture/CaptureSource.h>

#include <algorithm>

#include <fmt/format.h>
#include <xcb/res.h>
#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Capture/ApplicationWindows.h>
#include <QuorlHostLinux/X11/Capture/LayerStack.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

namespace {

/// True while a program of this process is connected, or when the server cannot say.
bool isConnected(X11Connection& connection, std::int32_t pid) {
  if (!connection.extensions().resource.present) return true;
  const xcb_res_client_id_spec_t everyone{XCB_NONE, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
  const XcbReply<xcb_res_query_client_ids_reply_t> reply(xcb_res_query_client_ids_reply(
      connection.xcb(), xcb_res_query_client_ids(connection.xcb(), 1, &everyone), nullptr));
  if (!reply) return true;
  for (auto each = xcb_res_query_client_ids_ids_iterator(reply.get()); each.rem > 0;
       xcb_res_client_id_value_next(&each)) {
    if (xcb_res_client_id_value_value_length(each.data) < 1) continue;
    if (*xcb_res_client_id_value_value(each.data) == static_cast<std::uint32_t>(pid)) return true;
  }
  return false;
}

/// The ordinary windows of one process, in their stacking order over black, with its menus and tooltips that
/// lie among them. Before there is an ordinary window, all windows of the process on one display; after the
/// last one has gone, the place where they were.
class ApplicationSource final : public CaptureSource {
 public:
  ApplicationSource(X11Connection& connection, std::shared_ptr<Scene> scene, const ApplicationFilter& filter)
      : connection_(connection),
        scene_(std::move(scene)),
        filter_(filter),
        own_(connection, *scene_, filter.pid),
        stack_(connection, *scene_) {}

  std::expected<void, PortError> open() {
    if (auto found = monitorsChanged(readMonitors(connection_)); !found) return found;
    return settle();
  }

  std::expected<void, PortError> handle(const void* event) override {
    if (!stack_.handle(event) && own_.handle(event)) settled_ = 0;
    return {};
  }

  std::expected<void, PortError> settle() override {
    TopLevels& windows = scene_->windows;
    if (windows.generation() == settled_) return {};
    settled_ = windows.generation();
    if (const PixelRect shown = own_.area(); !shown.isEmpty()) shown_ = shown;
    const PixelRect area = shown_.isEmpty() ? display_ : shown_;
    std::vector<LayerStack::Wanted> wanted;
    bool hasWindows = false;
    for (const auto& window : windows.bottomToTop()) {
      if (!window.isMapped) continue;
      const WindowOwner* owner = windows.owner(window.window);
      if (owner == nullptr || !owner->isDrawn) continue;
      // A program may name another process than the server does; the list of windows believes the program.
      if (owner->client.pid != filter_.pid && !own_.contains(owner->client.window)) continue;
      hasWindows = true;
      if (!window.bounds.intersectionWith(area).isEmpty()) wanted.push_back({window, owner->visual});
    }
    if (!hasWindows && !isConnected(connection_, filter_.pid)) {
      return std::unexpected(PortError{"the application has ended"});
    }
    return stack_.arrange(area, wanted);
  }

  std::expected<void, PortError> monitorsChanged(const std::vector<Monitor>& monitors) override {
    const auto found = std::ranges::find(monitors, filter_.displayID,
                                         [](const auto& monitor) { return displayIDOf(monitor.name); });
    if (found == monitors.end()) {
      return std::unexpected(PortError{fmt::format("there is no display {}", filter_.displayID)});
    }
    const PixelRect area = found->bounds.intersectionWith(PixelRect::of(connection_.rootSize()));
    if (area.isEmpty()) return std::unexpected(PortError{"the display shows nothing"});
    if (area != display_) settled_ = 0;
    display_ = area;
    return {};
  }

  bool isShowing() const override { return stack_.hasImage(); }
  bool isDirty() const override { return stack_.isDirty(); }
  DirtyRegion refresh() override { return stack_.refresh(); }
  std::expected<void, PortError> finish() override { return stack_.finish(); }
  PixelRect area() const override { return stack_.area(); }
  SharedImage& image() override { return stack_.image(); }

 private:
  X11Connection& connection_;
  std::shared_ptr<Scene> scene_;
  ApplicationFilter filter_;
  ApplicationWindows own_;
  PixelRect display_;          // on the root
  PixelRect shown_;            // the union of the ordinary windows, on the root; empty before the first
  std::uint64_t settled_ = 0;  // the generation of the windows that is shown; 0: none
  LayerStack stack_;
};

}  // namespace

std::expected<std::unique_ptr<CaptureSource>, PortError> makeApplicationSource(
    X11Connection& connection, std::shared_ptr<Scene> scene, const ApplicationFilter& filter) {
  auto source = std::make_unique<ApplicationSource>(connection, std::move(scene), filter);
  if (auto opened = source->open(); !opened) return std::unexpected(opened.error());
  return source;
}

}  // namespace quorl
