// SPDX-License-Identifier: GPL-3.0-or-later
#include "Keys.h"

#include <poll.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "../SlowLink/Motion.h"
#include "../Support/ProbeColours.h"

namespace quorl::bench {

namespace {

constexpr int side = 64;
constexpr int margin = 8;            // from the corner's top left, beside the block in its middle
constexpr std::uint8_t letter = 38;  // the code of the key A

xcb_connection_t* connectTo(const std::string& display) {
  auto* connection = xcb_connect(display.c_str(), nullptr);
  if (xcb_connection_has_error(connection) != 0) throw std::runtime_error("no display " + display);
  return connection;
}

}  // namespace

struct KeyBlock::Impl {
  xcb_connection_t* connection;
  int left;
  xcb_window_t window;
  ProbeColours colours;
  std::atomic<std::uint32_t> pixel = 0;
  std::jthread thread;

  explicit Impl(const std::string& display) : connection(connectTo(display)) {
    const auto* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    left = screen->width_in_pixels - FreeCorner::width + margin;
    window = xcb_generate_id(connection);
    const std::array<std::uint32_t, 3> values{screen->black_pixel, 1, XCB_EVENT_MASK_KEY_PRESS};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, static_cast<std::int16_t>(left),
                      margin, side, side, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values.data());
    xcb_map_window(connection, window);
    xcb_set_input_focus(connection, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
    xcb_flush(connection);
    thread = std::jthread([this](const std::stop_token& stop) { run(stop); });
  }

  ~Impl() {
    thread.request_stop();
    thread.join();
    xcb_disconnect(connection);
  }

  void run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      pollfd descriptor{xcb_get_file_descriptor(connection), POLLIN, 0};
      poll(&descriptor, 1, 50);
      while (auto* event = xcb_poll_for_event(connection)) {
        if ((event->response_type & 0x7F) == XCB_KEY_PRESS) show(pixel);
        free(event);
      }
    }
  }

  void show(std::uint32_t value) {
    xcb_change_window_attributes(connection, window, XCB_CW_BACK_PIXEL, &value);
    xcb_clear_area(connection, 0, window, 0, 0, 0, 0);
    xcb_flush(connection);
  }
};

KeyBlock::KeyBlock(const std::string& display) : impl_(std::make_unique<Impl>(display)) {}

KeyBlock::~KeyBlock() = default;

Probe KeyBlock::prepare() {
  const Rgb colour = impl_->colours.next();
  impl_->pixel = pixelOf(colour);
  return {impl_->left + side / 2, margin + side / 2, colour};
}

struct Finger::Impl {
  xcb_connection_t* connection;
  xcb_window_t root;
};

Finger::Finger(const std::string& display) : impl_(std::make_unique<Impl>()) {
  impl_->connection = connectTo(display);
  impl_->root = xcb_setup_roots_iterator(xcb_get_setup(impl_->connection)).data->root;
}

Finger::~Finger() {
  xcb_disconnect(impl_->connection);
}

Clock::time_point Finger::press() {
  const auto now = Clock::now();
  for (const int type : {XCB_KEY_PRESS, XCB_KEY_RELEASE})
    xcb_test_fake_input(impl_->connection, static_cast<std::uint8_t>(type), letter, XCB_CURRENT_TIME,
                        impl_->root, 0, 0, 0);
  xcb_flush(impl_->connection);
  return now;
}

}  // namespace quorl::bench
