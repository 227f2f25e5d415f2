// SPDX-License-Identifier: GPL-3.0-or-later
#include "Measurement.h"

#include <array>
#include <deque>
#include <random>
#include <thread>

namespace quorl::bench {

namespace {

using namespace std::chrono_literals;

constexpr auto deadline = 10s;
constexpr auto recoveryDeadline = 30s;
constexpr double recovered = 0.8;

double secondsOf(Clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

}  // namespace

void Measurement::await(Clock::time_point begin, Samples& samples) {
  const auto seen = parts_.screen.wait(deadline);
  samples.add((seen ? *seen : Clock::now()) - begin);
  if (!seen) ++samples.unanswered;
}

void Measurement::change(Samples& samples) {
  const std::array probes{parts_.block.prepare()};
  parts_.screen.arm(probes);
  await(parts_.block.draw(), samples);
}

void Measurement::press(Samples& samples) {
  const std::array probes{parts_.keys.prepare()};
  parts_.screen.arm(probes);
  await(parts_.finger.press(), samples);
}

Noticed Measurement::during(std::chrono::seconds duration) {
  static std::minstd_rand random(5);
  Noticed result;
  const auto bytes = parts_.link.carriedBytes();
  const auto pictures = parts_.motion.pictures();
  const auto begin = Clock::now();
  bool isKeysTurn = false;
  while (Clock::now() < begin + duration) {
    isKeysTurn ? press(result.key) : change(result.change);
    isKeysTurn = !isKeysTurn;
    std::this_thread::sleep_for(std::chrono::milliseconds(150 + random() % 300));
  }
  const double seconds = secondsOf(Clock::now() - begin);
  result.linkUse =
      static_cast<double>(parts_.link.carriedBytes() - bytes) * 8 / seconds / parts_.link.bitsPerSecond();
  result.picturesPerSecond = static_cast<double>(parts_.motion.pictures() - pictures) / seconds;
  return result;
}

// Called when the link has its earlier rate again.
std::optional<double> Measurement::awaitFullRate(const Noticed& before) {
  struct Moment {
    Clock::time_point time;
    std::uint64_t bytes = 0;
    std::uint64_t pictures = 0;
  };
  const auto look = [this] {
    return Moment{Clock::now(), parts_.link.carriedBytes(), parts_.motion.pictures()};
  };
  std::deque<Moment> moments{look()};
  const auto begin = moments.front().time;
  while (Clock::now() < begin + recoveryDeadline) {
    std::this_thread::sleep_for(50ms);
    moments.push_back(look());
    const auto& now = moments.back();
    while (moments[1].time <= now.time - 1s) moments.pop_front();
    const auto& then = moments.front();
    const double seconds = secondsOf(now.time - then.time);
    if (seconds < 1) continue;
    const double use =
        static_cast<double>(now.bytes - then.bytes) * 8 / seconds / parts_.link.bitsPerSecond();
    const double rate = static_cast<double>(now.pictures - then.pictures) / seconds;
    if (use >= recovered * before.linkUse && rate >= recovered * before.picturesPerSecond)
      return secondsOf(then.time - begin);
  }
  return std::nullopt;
}

std::optional<double> Measurement::secondsAfterThinLink(const Noticed& before,
                                                        std::chrono::seconds duration) {
  parts_.link.setShare(0.1);
  std::this_thread::sleep_for(duration);
  parts_.link.setShare(1);
  return awaitFullRate(before);
}

std::optional<double> Measurement::secondsAfterStall(const Noticed& before, std::chrono::seconds duration) {
  parts_.link.stall();
  std::this_thread::sleep_for(duration);
  parts_.link.setShare(1);
  return awaitFullRate(before);
}

}  // namespace quorl::bench
