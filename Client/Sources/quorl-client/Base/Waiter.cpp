// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Base/Waiter.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

namespace quorl::client {
namespace {

// Rounded up, so that a wait never ends just before its deadline.
int pollTimeout(Clock::duration rest) {
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(rest).count();
  return static_cast<int>(std::clamp<std::int64_t>(milliseconds, 0, 3'600'000));
}

void consume(int descriptor) {
  // Room for a signalfd_siginfo; an eventfd returns 8 bytes.
  std::array<char, 128> ignored;
  [[maybe_unused]] const auto count = ::read(descriptor, ignored.data(), ignored.size());
}

}  // namespace

Outcome<Waiter::Ready> Waiter::wait(std::span<pollfd> descriptors, Deadline deadline) {
  std::vector<pollfd> watched(descriptors.begin(), descriptors.end());
  watched.push_back({alsoWatched, POLLIN, 0});
  watched.push_back({interruptDescriptor_, POLLIN, 0});
  const auto also = watched.size() - 2;
  const auto begin = Clock::now();
  auto nextNotice = begin + std::chrono::seconds(1);
  for (;;) {
    watched[also].fd = alsoWatched;
    const auto now = Clock::now();
    const auto until = onSlow ? std::min(deadline, nextNotice) : deadline;
    const int ready = ::poll(watched.data(), watched.size(), pollTimeout(until - now));
    if (ready < 0 && errno != EINTR)
      return failed(ExitCode::failure, std::string("waiting failed: ") + std::strerror(errno));
    if (ready > 0) {
      if (watched.back().revents != 0) {
        consume(interruptDescriptor_);
        return failed(ExitCode::interrupted, "interrupted");
      }
      if (watched[also].revents != 0 && onWatched)
        if (auto done = onWatched(); !done) return std::unexpected(done.error());
      if (ready > (watched[also].revents != 0 ? 1 : 0)) {
        std::copy_n(watched.begin(), descriptors.size(), descriptors.begin());
        return Ready::yes;
      }
    }
    const auto after = Clock::now();
    if (after >= deadline) {
      for (auto& descriptor : descriptors) descriptor.revents = 0;
      return Ready::deadline;
    }
    if (onSlow && after >= nextNotice) {
      onSlow(activity, after - begin);
      nextNotice = after + std::chrono::seconds(1);
    }
  }
}

}  // namespace quorl::client
