// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Connection/X11Connection.h>

#include <cstdlib>
#include <mutex>

#include <fmt/format.h>
#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/res.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <QuorlHostLinux/X11/Connection/SigpipeBlock.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>
#include <QuorlHostLinux/X11/Connection/XkbRequests.h>

namespace quorl {

X11DisplayName displayNameFromEnvironment() {
  return []() -> std::optional<std::string> {
    const char* name = std::getenv("DISPLAY");
    if (name == nullptr || *name == '\0') return std::nullopt;
    return name;
  };
}

namespace {

// One at a time: libXau looks up the credentials in a buffer that all threads share (XauFileName).
xcb_connection_t* connectTo(const std::string& display, int& screen) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  return xcb_connect(display.c_str(), &screen);
}

}  // namespace

std::expected<std::unique_ptr<X11Connection>, PortError> X11Connection::open(const X11DisplayName& name) {
  const auto display = name();
  if (!display) return std::unexpected(PortError{.description = "there is no display"});
  const SigpipeBlock noSignal;
  int screen = 0;
  std::unique_ptr<X11Connection> connection(new X11Connection(connectTo(*display, screen)));
  if (const int error = xcb_connection_has_error(connection->xcb_); error != 0) {
    return std::unexpected(
        PortError{.description = fmt::format("no connection to the display {}", *display), .status = error});
  }
  connection->readScreen(screen);
  connection->readExtensions();
  if (!connection->isAlive() || connection->root_ == 0) {
    return std::unexpected(PortError{.description = fmt::format("the display {} has gone", *display)});
  }
  return connection;
}

X11Connection::~X11Connection() {
  const SigpipeBlock noSignal;
  // If a server fails to write to a client that has gone, it drops the client's unread requests: a key
  // released last would stay down. A reply shows that all requests were executed.
  const XcbReply<xcb_get_input_focus_reply_t> carriedOut(
      xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr));
  xcb_disconnect(xcb_);
}

int X11Connection::descriptor() const {
  return xcb_get_file_descriptor(xcb_);
}

bool X11Connection::isAlive() const {
  return xcb_connection_has_error(xcb_) == 0;
}

void X11Connection::selectRootEvents(std::uint32_t mask) {
  rootEvents_ |= mask;
  xcb_change_window_attributes(xcb_, root_, XCB_CW_EVENT_MASK, &rootEvents_);
}

void X11Connection::unselectRootEvents(std::uint32_t mask) {
  rootEvents_ &= ~mask;
  xcb_change_window_attributes(xcb_, root_, XCB_CW_EVENT_MASK, &rootEvents_);
}

PixelSize X11Connection::rootSize() const {
  const XcbReply<xcb_get_geometry_reply_t> reply(
      xcb_get_geometry_reply(xcb_, xcb_get_geometry(xcb_, root_), nullptr));
  return reply ? PixelSize{reply->width, reply->height} : PixelSize{};
}

std::uint32_t X11Connection::atom(const std::string& name) {
  if (const auto known = atoms_.find(name); known != atoms_.end()) return known->second;
  const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      xcb_, xcb_intern_atom(xcb_, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
  if (!reply) return 0;
  atoms_.emplace(name, reply->atom);
  return reply->atom;
}

void X11Connection::readScreen(int number) {
  const xcb_setup_t* setup = xcb_get_setup(xcb_);
  auto screens = xcb_setup_roots_iterator(setup);
  for (; screens.rem > 1 && number > 0; --number) xcb_screen_next(&screens);
  const xcb_screen_t& screen = *screens.data;
  root_ = screen.root;

  bool is32Bit = false;
  for (auto formats = xcb_setup_pixmap_formats_iterator(setup); formats.rem > 0; xcb_format_next(&formats)) {
    if (formats.data->depth == screen.root_depth) is32Bit = formats.data->bits_per_pixel == 32;
  }
  bool hasMasks = false;
  for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem > 0; xcb_depth_next(&depths)) {
    for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0;
         xcb_visualtype_next(&visuals)) {
      const xcb_visualtype_t& visual = *visuals.data;
      if (visual.visual_id != screen.root_visual) continue;
      hasMasks = visual.red_mask == 0xFF0000 && visual.green_mask == 0x00FF00 && visual.blue_mask == 0x0000FF;
    }
  }
  hasBGRXPixels_ = is32Bit && hasMasks && setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
}

void X11Connection::readExtensions() {
  const auto find = [this](xcb_extension_t& extension) {
    const auto* data = xcb_get_extension_data(xcb_, &extension);
    if (data == nullptr || data->present == 0) return X11Extension{};
    return X11Extension{true, data->first_event, data->major_opcode};
  };
  for (auto* extension : {&xcb_randr_id, &xcb_shm_id, &xcb_damage_id, &xcb_xfixes_id, &xcb_composite_id,
                          &xcb_test_id, &xcb_input_id, &xcb_res_id}) {
    xcb_prefetch_extension_data(xcb_, extension);
  }
  extensions_ = {.randr = find(xcb_randr_id),
                 .shm = find(xcb_shm_id),
                 .damage = find(xcb_damage_id),
                 .xfixes = find(xcb_xfixes_id),
                 .composite = find(xcb_composite_id),
                 .xtest = find(xcb_test_id),
                 .xkb = {},
                 .xinput = find(xcb_input_id),
                 .resource = find(xcb_res_id)};
  // Every extension requires a version query before its first request. A query to a missing extension would
  // end the connection.
  const auto keepIf = [this](X11Extension& extension, auto query, auto readReply, auto suffices) {
    if (!extension.present) return;
    const auto cookie = query(xcb_);
    const XcbReply<std::remove_pointer_t<decltype(readReply(xcb_, cookie, nullptr))>> reply(
        readReply(xcb_, cookie, nullptr));
    extension.present = reply && suffices(*reply);
  };
  keepIf(
      extensions_.randr, [](auto* xcb) { return xcb_randr_query_version(xcb, 1, 6); },
      xcb_randr_query_version_reply, [](auto& v) { return v.major_version > 1 || v.minor_version >= 5; });
  keepIf(
      extensions_.shm, [](auto* xcb) { return xcb_shm_query_version(xcb); }, xcb_shm_query_version_reply,
      [](auto& v) { return v.major_version > 1 || v.minor_version >= 2; });
  keepIf(
      extensions_.damage, [](auto* xcb) { return xcb_damage_query_version(xcb, 1, 1); },
      xcb_damage_query_version_reply, [](auto& v) { return v.major_version >= 1; });
  keepIf(
      extensions_.xfixes, [](auto* xcb) { return xcb_xfixes_query_version(xcb, 5, 0); },
      xcb_xfixes_query_version_reply, [](auto& v) { return v.major_version >= 5; });
  keepIf(
      extensions_.composite, [](auto* xcb) { return xcb_composite_query_version(xcb, 0, 4); },
      xcb_composite_query_version_reply, [](auto& v) { return v.major_version > 0 || v.minor_version >= 4; });
  keepIf(
      extensions_.xinput, [](auto* xcb) { return xcb_input_xi_query_version(xcb, 2, 2); },
      xcb_input_xi_query_version_reply, [](auto& v) { return v.major_version >= 2; });
  keepIf(
      extensions_.resource, [](auto* xcb) { return xcb_res_query_version(xcb, 1, 2); },
      xcb_res_query_version_reply, [](auto& v) { return v.server_major > 1 || v.server_minor >= 2; });
  extensions_.xkb = useXkb(xcb_);
}

}  // namespace quorl
