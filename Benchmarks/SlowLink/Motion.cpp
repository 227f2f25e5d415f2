// SPDX-License-Identifier: GPL-3.0-or-later
#include "Motion.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include "../Support/ProbeColours.h"

namespace quorl::bench {

namespace {

constexpr int pictureCount = 16;
constexpr double panRadius = 40;    // pixels
constexpr double turnAngle = 0.01;  // radians
constexpr int grain = 32;           // levels, peak to peak
constexpr int blockSide = 64;

class Canvas {
 public:
  Canvas(const std::string& display, int left, int top, int width, int height)
      : connection_(xcb_connect(display.c_str(), nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) throw std::runtime_error("no display " + display);
    screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    if (width == 0) width = screen_->width_in_pixels;
    if (height == 0) height = screen_->height_in_pixels;
    if (left < 0) left += screen_->width_in_pixels;
    window_ = xcb_generate_id(connection_);
    const std::array<std::uint32_t, 2> values{pixelOf({90, 90, 90}), 1};
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen_->root,
                      static_cast<std::int16_t>(left), static_cast<std::int16_t>(top),
                      static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
    xcb_map_window(connection_, window_);
    context_ = xcb_generate_id(connection_);
    const std::uint32_t noExposures = 0;
    xcb_create_gc(connection_, context_, window_, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
    finish();
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;
  ~Canvas() { xcb_disconnect(connection_); }

  int screenWidth() const { return screen_->width_in_pixels; }
  int screenHeight() const { return screen_->height_in_pixels; }

  xcb_pixmap_t store(const std::vector<std::uint32_t>& pixels) {
    const auto pixmap = xcb_generate_id(connection_);
    xcb_create_pixmap(connection_, screen_->root_depth, pixmap, window_, screen_->width_in_pixels,
                      screen_->height_in_pixels);
    constexpr int rows = 8;  // a request stays below the core protocol's length limit
    const int width = screenWidth();
    for (int top = 0; top < screenHeight(); top += rows) {
      const int count = std::min(rows, screenHeight() - top);
      xcb_put_image(
          connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context_, screen_->width_in_pixels,
          static_cast<std::uint16_t>(count), 0, static_cast<std::int16_t>(top), 0, screen_->root_depth,
          static_cast<std::uint32_t>(width * count * 4),
          reinterpret_cast<const std::uint8_t*>(pixels.data() + static_cast<std::ptrdiff_t>(top) * width));
    }
    return pixmap;
  }

  void copy(xcb_pixmap_t from, xcb_rectangle_t part) {
    xcb_copy_area(connection_, from, window_, context_, part.x, part.y, part.x, part.y, part.width,
                  part.height);
  }

  void fill(Rgb colour, xcb_rectangle_t part) {
    const std::uint32_t value = pixelOf(colour);
    xcb_change_gc(connection_, context_, XCB_GC_FOREGROUND, &value);
    xcb_poly_fill_rectangle(connection_, window_, context_, 1, &part);
  }

  void flush() { xcb_flush(connection_); }
  // Waits until the server has processed all requests.
  void finish() { free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr)); }

 private:
  xcb_connection_t* connection_;
  xcb_screen_t* screen_ = nullptr;
  xcb_window_t window_ = 0;
  xcb_gcontext_t context_ = 0;
};

// Value noise of several sizes that tiles seamlessly.
class Texture {
 public:
  explicit Texture(unsigned seed) : levels_(static_cast<std::size_t>(side) * side) {
    std::mt19937 random(seed);
    std::vector<float> sum(levels_.size());
    for (const auto& [step, strength] : octaves) add(sum, step, strength, random);
    std::ranges::transform(sum, levels_.begin(), [](float value) {
      return static_cast<std::uint8_t>(std::clamp(128.0F + value, 0.0F, 255.0F));
    });
  }

  int at(int x, int y) const {
    return levels_[static_cast<std::size_t>(y & (side - 1)) * side +
                   static_cast<std::size_t>(x & (side - 1))];
  }

 private:
  static constexpr int side = 2048;
  struct Octave {
    int step;
    float strength;
  };
  static constexpr std::array<Octave, 6> octaves{{{256, 50}, {64, 40}, {32, 30}, {16, 24}, {8, 18}, {4, 14}}};

  static void add(std::vector<float>& sum, int step, float strength, std::mt19937& random) {
    const int count = side / step;
    std::vector<float> lattice(static_cast<std::size_t>(count) * static_cast<std::size_t>(count));
    std::uniform_real_distribution<float> uniform(-strength, strength);
    for (float& value : lattice) value = uniform(random);
    const auto point = [&](int x, int y) {
      return lattice[static_cast<std::size_t>(y % count) * static_cast<std::size_t>(count) +
                     static_cast<std::size_t>(x % count)];
    };
    for (int y = 0; y < side; ++y) {
      const float v = static_cast<float>(y % step) / static_cast<float>(step);
      for (int x = 0; x < side; ++x) {
        const float u = static_cast<float>(x % step) / static_cast<float>(step);
        const int i = x / step;
        const int j = y / step;
        sum[static_cast<std::size_t>(y) * side + static_cast<std::size_t>(x)] +=
            (point(i, j) * (1 - u) + point(i + 1, j) * u) * (1 - v) +
            (point(i, j + 1) * (1 - u) + point(i + 1, j + 1) * u) * v;
      }
    }
  }

  std::vector<std::uint8_t> levels_;
};

class Footage {
 public:
  std::vector<std::uint32_t> picture(int index, int width, int height) {
    const double phase = 2 * std::numbers::pi * index / pictureCount;
    const double angle = turnAngle * std::sin(phase);
    const double left = panRadius * std::cos(phase);
    const double top = panRadius * std::sin(phase);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    auto pixel = pixels.begin();
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const int u = static_cast<int>(x + left + angle * (y - height / 2));
        const int v = static_cast<int>(y + top - angle * (x - width / 2));
        const int light = light_.at(u, v) + static_cast<int>(random_() % grain) - grain / 2;
        const int tint = (tint_.at(u / 2, v / 2) - 128) / 3;
        const auto level = [](int value) { return std::clamp(value, 0, 255); };
        *pixel++ = pixelOf({level(light + tint), level(light), level(light - tint)});
      }
    }
    return pixels;
  }

 private:
  Texture light_{1};
  Texture tint_{2};
  std::minstd_rand random_{3};
};

}  // namespace

struct Motion::Impl {
  Canvas canvas;
  std::vector<xcb_pixmap_t> pictures;
  std::atomic<bool> isStopping = false;
  std::atomic<std::uint64_t> drawn = 0;
  std::thread thread;

  explicit Impl(const std::string& display) : canvas(display, 0, 0, 0, 0) {
    Footage footage;
    for (int index = 0; index < pictureCount; ++index)
      pictures.push_back(canvas.store(footage.picture(index, canvas.screenWidth(), canvas.screenHeight())));
    canvas.finish();
    thread = std::thread([this] { run(); });
  }

  ~Impl() {
    isStopping = true;
    thread.join();
  }

  void run() {
    const auto width = static_cast<std::uint16_t>(canvas.screenWidth());
    const auto height = static_cast<std::uint16_t>(canvas.screenHeight());
    constexpr auto interval = std::chrono::nanoseconds(1'000'000'000 / picturesPerSecond);
    auto next = Clock::now();
    for (std::size_t step = 0; !isStopping; ++step) {
      const auto picture = pictures[step % pictures.size()];
      canvas.copy(picture, {0, 0, static_cast<std::uint16_t>(width - FreeCorner::width), FreeCorner::height});
      canvas.copy(picture,
                  {0, FreeCorner::height, width, static_cast<std::uint16_t>(height - FreeCorner::height)});
      canvas.finish();
      ++drawn;
      next = std::max(next + interval, Clock::now());
      std::this_thread::sleep_until(next);
    }
  }
};

Motion::Motion(const std::string& display) : impl_(std::make_unique<Impl>(display)) {}

Motion::~Motion() = default;

std::uint64_t Motion::drawn() const {
  return impl_->drawn;
}

struct ProbeBlock::Impl {
  Canvas canvas;
  ProbeColours colours;
  Rgb colour;

  explicit Impl(const std::string& display)
      : canvas(display, -FreeCorner::width, 0, FreeCorner::width, FreeCorner::height) {}
};

ProbeBlock::ProbeBlock(const std::string& display) : impl_(std::make_unique<Impl>(display)) {}

ProbeBlock::~ProbeBlock() = default;

Probe ProbeBlock::prepare() {
  impl_->colour = impl_->colours.next();
  return {impl_->canvas.screenWidth() - FreeCorner::width / 2, FreeCorner::height / 2, impl_->colour};
}

Clock::time_point ProbeBlock::draw() {
  const auto now = Clock::now();
  impl_->canvas.fill(impl_->colour, {(FreeCorner::width - blockSide) / 2,
                                     (FreeCorner::height - blockSide) / 2, blockSide, blockSide});
  impl_->canvas.flush();
  return now;
}

}  // namespace quorl::bench
