// SPDX-License-Identifier: GPL-3.0-or-later
#include "Measurement.h"

#include <array>
#include <deque>
#include <random>
#include <thread>

namespace quorl::bench {

namespace {

using namespace std::chrono_literals;

constexpr auto changeDeadline = 10s;
constexpr auto recoveryDeadline = 30s;
constexpr auto stopBudget = 90s;
constexpr double recovered = 0.8;

double secondsOf(Clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

}  // namespace

void Measurement::probeChange(Viewer& viewer, Samples& samples, Clock::time_point end) {
  const std::array probes{block_.prepare()};
  viewer.arm(probes);
  const auto begin = block_.draw();
  const auto limit = std::clamp<Clock::duration>(end - begin, 1s, changeDeadline);
  const auto seen = viewer.wait(std::chrono::ceil<std::chrono::milliseconds>(limit));
  samples.add((seen ? *seen : Clock::now()) - begin);
  if (!seen) ++samples.unanswered;
}

Steady Measurement::steady(Viewer& viewer, LinkClient* client, std::chrono::seconds duration) {
  static std::minstd_rand random(5);
  Steady result;
  if (client != nullptr) {
    client->takeAges();
    client->startProbing();
  }
  const auto bytes = link_.carriedBytes();
  const auto pictures = viewer.pictures();
  const auto begin = Clock::now();
  const auto end = begin + duration;
  while (Clock::now() < end) {
    probeChange(viewer, result.change, end);
    std::this_thread::sleep_until(
        std::min(end, Clock::now() + std::chrono::milliseconds(200 + random() % 500)));
  }
  const double seconds = secondsOf(Clock::now() - begin);
  result.linkUse = static_cast<double>(link_.carriedBytes() - bytes) * 8 / seconds / link_.bitsPerSecond();
  result.picturesPerSecond = static_cast<double>(viewer.pictures() - pictures) / seconds;
  if (client != nullptr) {
    client->stopProbing(result.echo, result.key);
    result.age = client->takeAges();
  }
  return result;
}

Measurement::Rates Measurement::ratesOver(Viewer& viewer, std::chrono::milliseconds duration) {
  const auto bytes = link_.carriedBytes();
  const auto pictures = viewer.pictures();
  const auto begin = Clock::now();
  std::this_thread::sleep_for(duration);
  const double seconds = secondsOf(Clock::now() - begin);
  return {static_cast<double>(link_.carriedBytes() - bytes) * 8 / seconds / link_.bitsPerSecond(),
          static_cast<double>(viewer.pictures() - pictures) / seconds};
}

// The link is as before from now on.
void Measurement::awaitFullRate(LinkClient& client, Recovery& recovery) {
  struct Moment {
    Clock::time_point time;
    std::uint64_t bytes;
    std::uint64_t pictures;
  };
  client.takeAges();
  const auto begin = Clock::now();
  std::deque<Moment> moments{{begin, link_.carriedBytes(), client.pictures()}};
  const auto picturesAtBegin = moments.front().pictures;
  while (Clock::now() < begin + recoveryDeadline) {
    std::this_thread::sleep_for(50ms);
    const Moment now{Clock::now(), link_.carriedBytes(), client.pictures()};
    if (!recovery.firstPictureSeconds && now.pictures > picturesAtBegin)
      recovery.firstPictureSeconds = secondsOf(now.time - begin);
    moments.push_back(now);
    while (moments.size() > 1 && moments[1].time <= now.time - 1s) moments.pop_front();
    const auto& then = moments.front();
    const double seconds = secondsOf(now.time - then.time);
    if (seconds < 1) continue;
    const double use = static_cast<double>(now.bytes - then.bytes) * 8 / seconds / link_.bitsPerSecond();
    const double rate = static_cast<double>(now.pictures - then.pictures) / seconds;
    if (use < recovered * recovery.linkUseBefore || rate < recovered * recovery.picturesBefore) continue;
    recovery.fullRateSeconds = secondsOf(then.time - begin);
    break;
  }
  recovery.age = client.takeAges();
}

Recovery Measurement::afterThinLink(LinkClient& client, std::chrono::seconds duration) {
  const auto before = ratesOver(client, 5s);
  Recovery recovery{.picturesBefore = before.picturesPerSecond, .linkUseBefore = before.linkUse};
  link_.setShare(0.1);
  std::this_thread::sleep_for(duration);
  link_.setShare(1);
  awaitFullRate(client, recovery);
  return recovery;
}

Recovery Measurement::afterStall(LinkClient& client, std::chrono::seconds duration) {
  const auto before = ratesOver(client, 5s);
  Recovery recovery{.picturesBefore = before.picturesPerSecond, .linkUseBefore = before.linkUse};
  link_.stall();
  std::this_thread::sleep_for(duration);
  link_.setShare(1);
  awaitFullRate(client, recovery);
  return recovery;
}

Samples Measurement::stops(LinkClient& client, int count) {
  Samples samples;
  const auto end = Clock::now() + stopBudget;
  for (int round = 0; round < count && Clock::now() < end && client.failure().empty(); ++round) {
    client.startStream();
    std::this_thread::sleep_for(3s);
    const auto stopped = client.stopStream();
    // The host has handled the stop, and what it sent before the answer is here. Whatever comes later counts
    // too.
    const bool isSettled = client.settle(30s);
    while (Clock::now() - std::max(stopped, client.lastVideoArrival().value_or(stopped)) < 500ms &&
           Clock::now() < stopped + 40s)
      std::this_thread::sleep_for(20ms);
    samples.add(std::max(stopped, client.lastVideoArrival().value_or(stopped)) - stopped);
    if (!isSettled) ++samples.unanswered;
  }
  return samples;
}

}  // namespace quorl::bench
