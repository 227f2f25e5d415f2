// SPDX-License-Identifier: GPL-3.0-or-later
#include "TestClient.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>
#include <xcb/xtest.h>

namespace quorl::test {

namespace {

template <class T>
std::unique_ptr<T, void (*)(void*)> owned(T* reply) {
  return {reply, std::free};
}

}  // namespace

TestClient::TestClient(const std::string& display) : xcb_(xcb_connect(display.c_str(), nullptr)) {
  if (xcb_connection_has_error(xcb_) != 0) throw std::runtime_error("no display for the test's client");
  root_ = xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data->root;
  context_ = xcb_generate_id(xcb_);
  const std::array<std::uint32_t, 2> values{XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS, 0};
  xcb_create_gc(xcb_, context_, root_, XCB_GC_SUBWINDOW_MODE | XCB_GC_GRAPHICS_EXPOSURES, values.data());
  sync();
}

TestClient::~TestClient() {
  xcb_disconnect(xcb_);
}

std::uint32_t TestClient::addWindow(const PixelRect& bounds, Managed managed, const std::string& title) {
  const std::uint32_t window = xcb_generate_id(xcb_);
  const std::array<std::uint32_t, 3> values{0, managed == Managed::no ? 1U : 0U, XCB_EVENT_MASK_EXPOSURE};
  xcb_create_window(xcb_, XCB_COPY_FROM_PARENT, window, root_, static_cast<std::int16_t>(bounds.x),
                    static_cast<std::int16_t>(bounds.y), static_cast<std::uint16_t>(bounds.width),
                    static_cast<std::uint16_t>(bounds.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                    XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK,
                    values.data());
  xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                      static_cast<std::uint32_t>(title.size()), title.data());
  map(window);
  return window;
}

std::uint32_t TestClient::makeWindow(const PixelRect& bounds, Managed managed, const std::string& title) {
  const std::uint32_t window = addWindow(bounds, managed, title);
  // Exposed: the window is on the screen, managed or not.
  for (;;) {
    const auto event = owned(xcb_wait_for_event(xcb_));
    if (!event) throw std::runtime_error("the display went away");
    if ((event->response_type & 0x7F) == XCB_EXPOSE) break;
  }
  sync();
  return window;
}

void TestClient::moveResize(std::uint32_t window, const PixelRect& bounds) {
  const std::array<std::uint32_t, 4> values{
      static_cast<std::uint32_t>(bounds.x), static_cast<std::uint32_t>(bounds.y),
      static_cast<std::uint32_t>(bounds.width), static_cast<std::uint32_t>(bounds.height)};
  xcb_configure_window(
      xcb_, window,
      XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
      values.data());
  sync();
}

void TestClient::unmap(std::uint32_t window) {
  xcb_unmap_window(xcb_, window);
  sync();
}

void TestClient::map(std::uint32_t window) {
  xcb_map_window(xcb_, window);
  sync();
}

void TestClient::destroy(std::uint32_t window) {
  xcb_destroy_window(xcb_, window);
  sync();
}

void TestClient::raise(std::uint32_t window) {
  const std::uint32_t mode = XCB_STACK_MODE_ABOVE;
  xcb_configure_window(xcb_, window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
  sync();
}

void TestClient::lower(std::uint32_t window) {
  const std::uint32_t mode = XCB_STACK_MODE_BELOW;
  xcb_configure_window(xcb_, window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
  sync();
}

std::uint32_t TestClient::makeTransparentWindow(const PixelRect& bounds, std::uint32_t color) {
  std::uint32_t visual = 0;
  const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data;
  for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0; xcb_depth_next(&depth)) {
    if (depth.data->depth == 32) visual = xcb_depth_visuals_iterator(depth.data).data->visual_id;
  }
  const std::uint32_t colors = xcb_generate_id(xcb_);
  xcb_create_colormap(xcb_, XCB_COLORMAP_ALLOC_NONE, colors, root_, visual);
  const std::uint32_t window = xcb_generate_id(xcb_);
  const std::array<std::uint32_t, 4> values{color, 0, 1, colors};
  xcb_create_window(xcb_, 32, window, root_, static_cast<std::int16_t>(bounds.x),
                    static_cast<std::int16_t>(bounds.y), static_cast<std::uint16_t>(bounds.width),
                    static_cast<std::uint16_t>(bounds.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
                    XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_COLORMAP,
                    values.data());
  map(window);
  return window;
}

void TestClient::reparent(std::uint32_t window, std::uint32_t parent, int x, int y) {
  xcb_reparent_window(xcb_, window, parent, static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
  sync();
}

void TestClient::setBorder(std::uint32_t window, int width, std::uint32_t color) {
  const auto thickness = static_cast<std::uint32_t>(width);
  xcb_change_window_attributes(xcb_, window, XCB_CW_BORDER_PIXEL, &color);
  xcb_configure_window(xcb_, window, XCB_CONFIG_WINDOW_BORDER_WIDTH, &thickness);
  sync();
}

void TestClient::setShape(std::uint32_t window, const PixelRect& rect) {
  const xcb_rectangle_t part{static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
                             static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
  owned(xcb_xfixes_query_version_reply(xcb_, xcb_xfixes_query_version(xcb_, 5, 0), nullptr));
  const std::uint32_t region = xcb_generate_id(xcb_);
  xcb_xfixes_create_region(xcb_, region, 1, &part);
  xcb_xfixes_set_window_shape_region(xcb_, window, XCB_SHAPE_SK_BOUNDING, 0, 0, region);
  xcb_xfixes_destroy_region(xcb_, region);
  sync();
}

void TestClient::setNumbers(std::uint32_t window, const std::string& property, std::uint32_t type,
                            const std::vector<std::uint32_t>& numbers) {
  const auto length = static_cast<std::uint16_t>(property.size());
  const auto atom =
      owned(xcb_intern_atom_reply(xcb_, xcb_intern_atom(xcb_, 0, length, property.data()), nullptr));
  xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, window, atom->atom, type, 32,
                      static_cast<std::uint32_t>(numbers.size()), numbers.data());
  sync();
}

void TestClient::claimUnmapped(std::uint32_t window) {
  std::array<char, 32> bytes{};
  const xcb_unmap_notify_event_t event{.response_type = XCB_UNMAP_NOTIFY,
                                       .pad0 = 0,
                                       .sequence = 0,
                                       .event = root_,
                                       .window = window,
                                       .from_configure = 0,
                                       .pad1 = {}};
  std::memcpy(bytes.data(), &event, sizeof event);
  xcb_send_event(xcb_, 0, root_, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY, bytes.data());
  sync();
}

void TestClient::setBackground(std::uint32_t window, std::uint32_t color) {
  xcb_change_window_attributes(xcb_, window, XCB_CW_BACK_PIXEL, &color);
  xcb_clear_area(xcb_, 0, window, 0, 0, 0, 0);
  sync();
}

void TestClient::setNoBackground(std::uint32_t window) {
  const std::uint32_t none = XCB_BACK_PIXMAP_NONE;
  xcb_change_window_attributes(xcb_, window, XCB_CW_BACK_PIXMAP, &none);
  sync();
}

void TestClient::fill(std::uint32_t window, const PixelRect& rect, std::uint32_t color) {
  xcb_change_gc(xcb_, context_, XCB_GC_FOREGROUND, &color);
  const xcb_rectangle_t area{static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
                             static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
  xcb_poly_fill_rectangle(xcb_, window, context_, 1, &area);
  sync();
}

std::pair<int, int> TestClient::pointer() {
  const auto reply = owned(xcb_query_pointer_reply(xcb_, xcb_query_pointer(xcb_, root_), nullptr));
  return {reply->root_x, reply->root_y};
}

void TestClient::setMonitor(const std::string& name, const PixelRect& bounds, bool isPrimary) {
  const auto length = static_cast<std::uint16_t>(name.size());
  const auto atom =
      owned(xcb_intern_atom_reply(xcb_, xcb_intern_atom(xcb_, 0, length, name.data()), nullptr));
  const auto resources = owned(xcb_randr_get_screen_resources_current_reply(
      xcb_, xcb_randr_get_screen_resources_current(xcb_, root_), nullptr));
  struct {
    xcb_randr_monitor_info_t info{};
    xcb_randr_output_t output = 0;
  } monitor;
  monitor.info = {.name = atom->atom,
                  .primary = isPrimary,
                  .automatic = 0,
                  // An output without a monitor would get an automatic one.
                  .nOutput = static_cast<std::uint16_t>(bounds.x == 0 ? 1 : 0),
                  .x = static_cast<std::int16_t>(bounds.x),
                  .y = static_cast<std::int16_t>(bounds.y),
                  .width = static_cast<std::uint16_t>(bounds.width),
                  .height = static_cast<std::uint16_t>(bounds.height),
                  .width_in_millimeters = 100,
                  .height_in_millimeters = 100};
  monitor.output = *xcb_randr_get_screen_resources_current_outputs(resources.get());
  xcb_grab_server(xcb_);
  xcb_randr_delete_monitor(xcb_, root_, atom->atom);
  xcb_randr_set_monitor(xcb_, root_, &monitor.info);
  xcb_ungrab_server(xcb_);
  sync();
}

void TestClient::movePointer(int x, int y) {
  xcb_test_fake_input(xcb_, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root_, static_cast<std::int16_t>(x),
                      static_cast<std::int16_t>(y), 0);
  sync();
}

void TestClient::warpPointer(int x, int y) {
  xcb_warp_pointer(xcb_, XCB_NONE, root_, 0, 0, 0, 0, static_cast<std::int16_t>(x),
                   static_cast<std::int16_t>(y));
  sync();
}

void TestClient::takeMotion(std::uint32_t window) {
  const std::uint32_t events = XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_POINTER_MOTION;
  xcb_change_window_attributes(xcb_, window, XCB_CW_EVENT_MASK, &events);
  sync();
}

void TestClient::setBlockCursor(int side, std::uint32_t color) {
  const auto size = static_cast<std::uint16_t>(side);
  const std::uint32_t pixmap = xcb_generate_id(xcb_);
  const std::uint32_t bits = xcb_generate_id(xcb_);
  const std::uint32_t cursor = xcb_generate_id(xcb_);
  xcb_create_pixmap(xcb_, 1, pixmap, root_, size, size);
  const std::uint32_t one = 1;
  xcb_create_gc(xcb_, bits, pixmap, XCB_GC_FOREGROUND, &one);
  const xcb_rectangle_t all{0, 0, size, size};
  xcb_poly_fill_rectangle(xcb_, pixmap, bits, 1, &all);
  const auto part = [color](int shift) {
    return static_cast<std::uint16_t>(((color >> shift) & 0xFF) * 0x101);
  };
  xcb_create_cursor(xcb_, cursor, pixmap, pixmap, part(16), part(8), part(0), 0, 0, 0, 0, 0);
  xcb_change_window_attributes(xcb_, root_, XCB_CW_CURSOR, &cursor);
  xcb_free_gc(xcb_, bits);
  xcb_free_pixmap(xcb_, pixmap);
  sync();
}

void TestClient::sync() {
  owned(xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr));
}

std::vector<std::uint32_t> TestClient::read(const PixelRect& rect) {
  const auto reply = owned(xcb_get_image_reply(
      xcb_,
      xcb_get_image(xcb_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, static_cast<std::int16_t>(rect.x),
                    static_cast<std::int16_t>(rect.y), static_cast<std::uint16_t>(rect.width),
                    static_cast<std::uint16_t>(rect.height), ~0U),
      nullptr));
  if (!reply) throw std::runtime_error("the screen cannot be read");
  const auto* data = reinterpret_cast<const std::uint32_t*>(xcb_get_image_data(reply.get()));
  std::vector<std::uint32_t> pixels(
      data, data + static_cast<std::size_t>(rect.width) * static_cast<std::size_t>(rect.height));
  for (auto& pixel : pixels) pixel &= 0xFFFFFF;
  return pixels;
}

}  // namespace quorl::test
