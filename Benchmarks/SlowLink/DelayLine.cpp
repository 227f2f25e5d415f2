// SPDX-License-Identifier: GPL-3.0-or-later
#include "DelayLine.h"

#include <fcntl.h>
#include <linux/if.h>
#include <linux/if_tun.h>
#include <poll.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <optional>
#include <stdexcept>
#include <vector>

namespace quorl::bench {

namespace {

using Clock = std::chrono::steady_clock;

int openDevice(const NetworkSpace& space) {
  int descriptor = -1;
  space.run([&] {
    descriptor = open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ifreq request{};
    std::strncpy(request.ifr_name, "tun0", IFNAMSIZ - 1);
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    if (descriptor < 0 || ioctl(descriptor, TUNSETIFF, &request) != 0)
      throw std::runtime_error("cannot make a TUN device");
  });
  // The queue holds a whole TCP window, so that the line itself loses nothing.
  space.command("ip link set tun0 txqueuelen 20000 up");
  return descriptor;
}

// One direction of the line.
class Way {
 public:
  Way(int from, int to) : from_(from), to_(to), buffer_(65'536) {}

  void take(Clock::time_point due) {
    for (;;) {
      const auto size = read(from_, buffer_.data(), buffer_.size());
      if (size <= 0) return;
      packets_.push_back({due, {buffer_.begin(), buffer_.begin() + size}});
    }
  }

  void give(Clock::time_point now) {
    while (!packets_.empty() && packets_.front().due <= now) {
      const auto& bytes = packets_.front().bytes;
      [[maybe_unused]] const auto written = write(to_, bytes.data(), bytes.size());
      packets_.pop_front();
    }
  }

  std::optional<Clock::time_point> next() const {
    if (packets_.empty()) return std::nullopt;
    return packets_.front().due;
  }

 private:
  struct Packet {
    Clock::time_point due;
    std::vector<unsigned char> bytes;
  };

  int from_;
  int to_;
  std::vector<unsigned char> buffer_;
  std::deque<Packet> packets_;
};

}  // namespace

DelayLine::DelayLine(const NetworkSpace& left, const NetworkSpace& right, std::chrono::microseconds delay)
    : delay_(delay), left_(openDevice(left)), right_(openDevice(right)), stop_(eventfd(0, EFD_CLOEXEC)) {
  thread_ = std::thread([this] { carry(); });
}

DelayLine::~DelayLine() {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = write(stop_, &one, sizeof(one));
  thread_.join();
  for (const int descriptor : {left_, right_, stop_}) close(descriptor);
}

void DelayLine::carry() {
  // A busy machine must not add to the delay.
  const sched_param first{.sched_priority = 20};
  sched_setscheduler(0, SCHED_FIFO, &first);
  Way there(left_, right_);
  Way back(right_, left_);
  for (;;) {
    const auto now = Clock::now();
    there.give(now);
    back.give(now);
    auto next = there.next();
    if (back.next()) next = next ? std::min(*next, *back.next()) : *back.next();
    timespec rest{};
    if (next) {
      const auto nanoseconds = std::max<std::int64_t>((*next - now) / std::chrono::nanoseconds(1), 0);
      rest = {nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    }
    std::array<pollfd, 3> ends{{{left_, POLLIN, 0}, {right_, POLLIN, 0}, {stop_, POLLIN, 0}}};
    if (ppoll(ends.data(), ends.size(), next ? &rest : nullptr, nullptr) < 0) continue;
    if (ends[2].revents != 0) return;
    const auto due = Clock::now() + delay_;
    if (ends[0].revents != 0) there.take(due);
    if (ends[1].revents != 0) back.take(due);
  }
}

}  // namespace quorl::bench
