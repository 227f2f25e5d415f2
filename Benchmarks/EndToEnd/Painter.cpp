// SPDX-License-Identifier: GPL-3.0-or-later
#include "Painter.h"

#include <xcb/xcb.h>

#include <array>
#include <cmath>
#include <functional>
#include <random>
#include <stdexcept>

#include "../Support/ProbeColours.h"

namespace quorl::bench {

namespace {

constexpr int pictureCount = 4;

// Smooth shapes with fine grain, like a photograph.
std::vector<std::uint32_t> photograph(int width, int height, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(0.5, 3.0);
  std::array<double, 6> f{};
  for (double& value : f) value = uniform(random);
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double u = 6.28 * x / width;
      const double v = 6.28 * y / height;
      const int grain = static_cast<int>(random() % 12);
      const auto level = [&](double a, double b) {
        return std::clamp(static_cast<int>(128 + 60 * std::sin(a * u + b) + 50 * std::cos(b * v - a)) + grain,
                          0, 255);
      };
      pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)] =
          pixelOf({level(f[0], f[1]), level(f[2], f[3]), level(f[4], f[5])});
    }
  }
  return pixels;
}

}  // namespace

struct Painter::Impl {
  xcb_connection_t* connection = nullptr;
  xcb_screen_t* screen = nullptr;
  xcb_window_t window = 0;
  xcb_window_t coverWindow = 0;
  xcb_gcontext_t context = 0;
  std::array<xcb_pixmap_t, pictureCount> pixmaps{};
  std::array<std::vector<std::uint32_t>, pictureCount> pictures;
  int nextPicture = 0;
  ProbeColours colours;
  std::function<void()> draw;

  void fill(Rgb colour, xcb_rectangle_t rectangle) {
    const std::uint32_t value = pixelOf(colour);
    xcb_change_gc(connection, context, XCB_GC_FOREGROUND, &value);
    xcb_poly_fill_rectangle(connection, window, context, 1, &rectangle);
  }

  void upload(int index) {
    const int width = screen->width_in_pixels;
    const int height = screen->height_in_pixels;
    auto& pixels = pictures[static_cast<std::size_t>(index)];
    pixels = photograph(width, height, static_cast<unsigned>(index) + 1);
    auto& pixmap = pixmaps[static_cast<std::size_t>(index)];
    pixmap = xcb_generate_id(connection);
    xcb_create_pixmap(connection, screen->root_depth, pixmap, window, screen->width_in_pixels,
                      screen->height_in_pixels);
    constexpr int rows = 8;  // a request stays below the core protocol's length limit
    for (int y = 0; y < height; y += rows) {
      const int count = std::min(rows, height - y);
      xcb_put_image(
          connection, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context, screen->width_in_pixels,
          static_cast<std::uint16_t>(count), 0, static_cast<std::int16_t>(y), 0, screen->root_depth,
          static_cast<std::uint32_t>(width * count * 4),
          reinterpret_cast<const std::uint8_t*>(pixels.data() + static_cast<std::ptrdiff_t>(y) * width));
    }
  }

  void finish() { xcb_aux_sync(); }
  void xcb_aux_sync() {
    free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
  }
};

Painter::Painter(const std::string& display) : impl_(std::make_unique<Impl>()) {
  impl_->connection = xcb_connect(display.c_str(), nullptr);
  if (xcb_connection_has_error(impl_->connection) != 0) throw std::runtime_error("no display " + display);
  impl_->screen = xcb_setup_roots_iterator(xcb_get_setup(impl_->connection)).data;
  impl_->window = xcb_generate_id(impl_->connection);
  const std::uint32_t black = impl_->screen->black_pixel;
  xcb_create_window(impl_->connection, XCB_COPY_FROM_PARENT, impl_->window, impl_->screen->root, 0, 0,
                    impl_->screen->width_in_pixels, impl_->screen->height_in_pixels, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, impl_->screen->root_visual, XCB_CW_BACK_PIXEL, &black);
  xcb_map_window(impl_->connection, impl_->window);
  impl_->context = xcb_generate_id(impl_->connection);
  const std::uint32_t noExposures = 0;
  xcb_create_gc(impl_->connection, impl_->context, impl_->window, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
  for (int index = 0; index < pictureCount; ++index) impl_->upload(index);
  impl_->finish();
}

Painter::~Painter() {
  xcb_disconnect(impl_->connection);
}

int Painter::width() const {
  return impl_->screen->width_in_pixels;
}
int Painter::height() const {
  return impl_->screen->height_in_pixels;
}

std::uint32_t Painter::window() const {
  return impl_->window;
}

// An ordinary window: the host takes one that no window manager frames for a menu.
void Painter::cover() {
  impl_->coverWindow = xcb_generate_id(impl_->connection);
  const std::uint32_t grey = 0x808080;
  xcb_create_window(impl_->connection, XCB_COPY_FROM_PARENT, impl_->coverWindow, impl_->screen->root, 0, 0,
                    impl_->screen->width_in_pixels, impl_->screen->height_in_pixels, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, impl_->screen->root_visual, XCB_CW_BACK_PIXEL, &grey);
  xcb_map_window(impl_->connection, impl_->coverWindow);
  impl_->finish();
}

void Painter::uncover() {
  xcb_destroy_window(impl_->connection, impl_->coverWindow);
  impl_->finish();
}

std::vector<Probe> Painter::prepareBlock(int side) {
  const Rgb colour = impl_->colours.next();
  const int x = 600;
  const int y = 400;
  impl_->draw = [this, colour, x, y, side] {
    impl_->fill(colour, {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                         static_cast<std::uint16_t>(side), static_cast<std::uint16_t>(side)});
  };
  return {Probe{x + side / 2, y + side / 2, colour}};
}

std::vector<Probe> Painter::prepareGlyph(int position) {
  const Rgb colour = impl_->colours.next();
  const int x = 200 + position % 80 * 12;
  const int y = 700 + position / 80 % 8 * 20;
  impl_->draw = [this, colour, x, y] {
    impl_->fill(colour, {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 10, 16});
  };
  return {Probe{x + 5, y + 8, colour, 40}};
}

std::vector<Probe> Painter::prepareFlat() {
  const Rgb colour = impl_->colours.next();
  impl_->draw = [this, colour] {
    impl_->fill(colour, {0, 0, impl_->screen->width_in_pixels, impl_->screen->height_in_pixels});
  };
  const int right = width() - 20;
  const int bottom = height() - 20;
  return {{20, 20, colour},
          {right, 20, colour},
          {20, bottom, colour},
          {right, bottom, colour},
          {width() / 2 + 200, height() / 2, colour}};
}

std::vector<Probe> Painter::preparePicture() {
  const auto index = static_cast<std::size_t>(impl_->nextPicture);
  impl_->nextPicture = (impl_->nextPicture + 1) % pictureCount;
  impl_->draw = [this, index] {
    xcb_copy_area(impl_->connection, impl_->pixmaps[index], impl_->window, impl_->context, 0, 0, 0, 0,
                  impl_->screen->width_in_pixels, impl_->screen->height_in_pixels);
  };
  std::vector<Probe> probes;
  constexpr int columns = 24;
  constexpr int rowCount = 14;
  for (int place = 0; place < columns * rowCount; ++place) {
    const int x = 40 + place % columns * (width() - 80) / (columns - 1);
    const int y = 40 + place / columns * (height() - 80) / (rowCount - 1);
    // The pointer may be there.
    if (std::abs(x - width() / 2) < 30 && std::abs(y - height() / 2) < 30) continue;
    const std::uint32_t pixel =
        impl_->pictures[index][static_cast<std::size_t>(y) * static_cast<std::size_t>(width()) +
                               static_cast<std::size_t>(x)];
    const Rgb colour{static_cast<int>(pixel >> 16 & 0xFF), static_cast<int>(pixel >> 8 & 0xFF),
                     static_cast<int>(pixel & 0xFF)};
    probes.push_back({x, y, colour, 40});
  }
  return probes;
}

Clock::time_point Painter::commit() {
  const auto now = Clock::now();
  impl_->draw();
  xcb_flush(impl_->connection);
  return now;
}

void Painter::animate(int step) {
  const auto& pixmap = impl_->pixmaps[0];
  const auto shift = static_cast<std::int16_t>((step * 8) % impl_->screen->width_in_pixels);
  const auto rest = static_cast<std::uint16_t>(impl_->screen->width_in_pixels - shift);
  xcb_copy_area(impl_->connection, pixmap, impl_->window, impl_->context, shift, 0, 0, 0, rest,
                impl_->screen->height_in_pixels);
  if (shift > 0)
    xcb_copy_area(impl_->connection, pixmap, impl_->window, impl_->context, 0, 0,
                  static_cast<std::int16_t>(rest), 0, static_cast<std::uint16_t>(shift),
                  impl_->screen->height_in_pixels);
  xcb_flush(impl_->connection);
}

}  // namespace quorl::bench
