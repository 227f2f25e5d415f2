// SPDX-License-Identifier: GPL-3.0-or-later
#include "ScreenWatcher.h"

#include <poll.h>
#include <xcb/damage.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace quorl::bench {

namespace {

template <class Reply>
using Owned = std::unique_ptr<Reply, decltype(&free)>;

class ScreenWatcher final : public Viewer {
 public:
  explicit ScreenWatcher(const std::string& display) : name_(display) {
    xcb_ = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(xcb_) != 0) throw std::runtime_error("no display " + display);
    root_ = xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data->root;
    const auto* damage = xcb_get_extension_data(xcb_, &xcb_damage_id);
    if (damage == nullptr || damage->present == 0) throw std::runtime_error("no DAMAGE extension");
    damageEvent_ = damage->first_event;
    free(xcb_damage_query_version_reply(xcb_, xcb_damage_query_version(xcb_, 1, 1), nullptr));
    damage_ = xcb_generate_id(xcb_);
    xcb_damage_create(xcb_, damage_, root_, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    xcb_flush(xcb_);
    thread_ = std::thread([this] { run(); });
  }

  ~ScreenWatcher() override {
    stopping_ = true;
    thread_.join();
    xcb_disconnect(xcb_);
  }

  const std::string& name() const override { return name_; }

  void arm(std::span<const Probe> probes) override {
    std::lock_guard lock(mutex_);
    probes_.assign(probes.begin(), probes.end());
    seen_.reset();
    error_.reset();
  }

  std::optional<Clock::time_point> wait(std::chrono::milliseconds deadline) override {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, deadline, [this] { return seen_.has_value(); });
    return seen_;
  }

  std::optional<double> error() override {
    std::lock_guard lock(mutex_);
    return error_;
  }
  std::uint64_t pictures() const override { return pictures_; }
  std::uint64_t bytes() const override { return 0; }

 private:
  void run() {
    while (!stopping_) {
      pollfd descriptor{xcb_get_file_descriptor(xcb_), POLLIN, 0};
      poll(&descriptor, 1, 50);
      bool isChanged = false;
      while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(xcb_), &free})
        isChanged = isChanged || (event->response_type & 0x7F) == damageEvent_ + XCB_DAMAGE_NOTIFY;
      if (!isChanged) continue;
      // First, so that a change during the reads is reported again.
      xcb_damage_subtract(xcb_, damage_, XCB_NONE, XCB_NONE);
      xcb_flush(xcb_);
      look();
    }
  }

  void look() {
    std::vector<Probe> probes;
    {
      std::lock_guard lock(mutex_);
      if (seen_ && error_) return countPicture(probes_.front());
      probes = probes_;
    }
    if (probes.empty()) return;
    std::vector<xcb_get_image_cookie_t> requests;
    for (const auto& probe : probes)
      requests.push_back(xcb_get_image(xcb_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_,
                                       static_cast<std::int16_t>(probe.x), static_cast<std::int16_t>(probe.y),
                                       1, 1, ~0U));
    bool isShown = true;
    int distance = 0;
    for (std::size_t at = 0; at < probes.size(); ++at) {
      const Rgb colour = answer(requests[at]);
      isShown = isShown && probes[at].matches(colour);
      distance += probes[at].distance(colour);
    }
    const auto now = Clock::now();
    if (!isShown) return;
    std::lock_guard lock(mutex_);
    seen_ = now;
    error_ = distance / (3.0 * static_cast<double>(probes.size()));
    changed_.notify_all();
  }

  void countPicture(const Probe& probe) {
    const Rgb colour =
        answer(xcb_get_image(xcb_, XCB_IMAGE_FORMAT_Z_PIXMAP, root_, static_cast<std::int16_t>(probe.x),
                             static_cast<std::int16_t>(probe.y), 1, 1, ~0U));
    if (colour.red == last_.red && colour.green == last_.green && colour.blue == last_.blue) return;
    last_ = colour;
    ++pictures_;
  }

  Rgb answer(xcb_get_image_cookie_t request) {
    const Owned<xcb_get_image_reply_t> reply(xcb_get_image_reply(xcb_, request, nullptr), &free);
    if (!reply) return {};
    const auto* pixel = xcb_get_image_data(reply.get());  // blue, green, red
    return {pixel[2], pixel[1], pixel[0]};
  }

  std::string name_;
  xcb_connection_t* xcb_ = nullptr;
  xcb_window_t root_ = 0;
  xcb_damage_damage_t damage_ = 0;
  int damageEvent_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Probe> probes_;
  std::optional<Clock::time_point> seen_;
  std::optional<double> error_;
  Rgb last_;
  std::atomic<std::uint64_t> pictures_{0};
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

}  // namespace

std::unique_ptr<Viewer> watchScreen(const std::string& display) {
  return std::make_unique<ScreenWatcher>(display);
}

}  // namespace quorl::bench
