// SPDX-License-Identifier: GPL-3.0-or-later
// Shows a flash and plays a beep at the same moment, once a second: what a recording of both should have in
// step.
//
// usage: flash_and_beep [SECONDS]   on the display and the sound server of the environment
#include <pulse/error.h>
#include <pulse/simple.h>
#include <xcb/xcb.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <numbers>
#include <thread>
#include <vector>

#include <fmt/format.h>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr int rate = 48'000;
constexpr int framesPerBlock = rate / 200;
constexpr int blocksPerBeep = 10;
constexpr milliseconds flashLength{200};

/// A window over the whole screen, black or white.
class Screen {
 public:
  Screen() : connection_(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) return;
    screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    window_ = xcb_generate_id(connection_);
    const std::uint32_t values[] = {screen_->black_pixel, 1};
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen_->root, 0, 0,
                      screen_->width_in_pixels, screen_->height_in_pixels, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen_->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(connection_, window_);
    xcb_flush(connection_);
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  ~Screen() { xcb_disconnect(connection_); }

  bool isOpen() const { return screen_ != nullptr; }
  void show(bool isWhite) const {
    const std::uint32_t pixel = isWhite ? screen_->white_pixel : screen_->black_pixel;
    xcb_change_window_attributes(connection_, window_, XCB_CW_BACK_PIXEL, &pixel);
    xcb_clear_area(connection_, 0, window_, 0, 0, 0, 0);
    xcb_flush(connection_);
  }

 private:
  xcb_connection_t* connection_;
  xcb_screen_t* screen_ = nullptr;
  xcb_window_t window_ = 0;
};

struct Closer {
  void operator()(pa_simple* sound) const { pa_simple_free(sound); }
};

std::vector<std::int16_t> block(int number) {
  std::vector<std::int16_t> samples(2 * framesPerBlock);
  if (number >= blocksPerBeep) return samples;
  for (int frame = 0; frame < framesPerBlock; ++frame) {
    const double angle = 2 * std::numbers::pi * 1'000 * (number * framesPerBlock + frame) / rate;
    const auto sample = static_cast<std::int16_t>(20'000 * std::sin(angle));
    samples[static_cast<std::size_t>(2 * frame)] = samples[static_cast<std::size_t>(2 * frame + 1)] = sample;
  }
  return samples;
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 15;
  const Screen screen;
  constexpr pa_sample_spec format{.format = PA_SAMPLE_S16NE, .rate = rate, .channels = 2};
  constexpr auto serversChoice = static_cast<std::uint32_t>(-1);
  constexpr pa_buffer_attr sizes{.maxlength = serversChoice,
                                 .tlength = rate * 4 / 25,  // 40 ms
                                 .prebuf = serversChoice,
                                 .minreq = serversChoice,
                                 .fragsize = serversChoice};
  int error = 0;
  const std::unique_ptr<pa_simple, Closer> sound(pa_simple_new(
      nullptr, "flash and beep", PA_STREAM_PLAYBACK, nullptr, "beeps", &format, nullptr, &sizes, &error));
  if (!screen.isOpen() || !sound) {
    fmt::print(stderr, "flash_and_beep: {}\n", sound ? "no display" : pa_strerror(error));
    return 1;
  }
  constexpr int blocksPerSecond = rate / framesPerBlock;
  for (int number = 0; number < seconds * blocksPerSecond; ++number) {
    const int inSecond = number % blocksPerSecond;
    if (inSecond == 0 && number > 0) {
      // The server plays the next block after what it holds.
      const auto when = Clock::now() + microseconds(pa_simple_get_latency(sound.get(), &error));
      std::thread([&screen, when] {
        std::this_thread::sleep_until(when);
        screen.show(true);
        std::this_thread::sleep_for(flashLength);
        screen.show(false);
      }).detach();
    }
    const auto samples = block(inSecond);
    if (pa_simple_write(sound.get(), samples.data(), samples.size() * sizeof samples[0], &error) < 0)
      return 1;
  }
  std::this_thread::sleep_for(2 * flashLength);
  return 0;
}
