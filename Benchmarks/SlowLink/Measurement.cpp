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

Samples Measurement::quietEchoes(LinkClient& client) {
  Samples echoes;
  Samples keys;
  client.startProbing();
  std::this_thread::sleep_for(2s);
  client.stopProbing(echoes, keys);
  return echoes;
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
  const auto drawn = motion_.drawn();
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
  result.motionPerSecond = static_cast<double>(motion_.drawn() - drawn) / seconds;
  if (client != nullptr) {
    client->stopProbing(result.echo, result.key);
    result.age = client->takeAges();
  }
  return result;
}

Recovery Measurement::before(LinkClient& client, std::chrono::milliseconds duration) {
  client.takeAges();
  const auto bytes = link_.carriedBytes();
  const auto pictures = client.pictures();
  const auto begin = Clock::now();
  std::this_thread::sleep_for(duration);
  const double seconds = secondsOf(Clock::now() - begin);
  Recovery recovery;
  recovery.linkUseBefore =
      static_cast<double>(link_.carriedBytes() - bytes) * 8 / seconds / link_.bitsPerSecond();
  recovery.picturesBefore = static_cast<double>(client.pictures() - pictures) / seconds;
  recovery.ageBefore = client.takeAges().mean();
  return recovery;
}

// Called when the link has its earlier rate again.
void Measurement::awaitFullRate(LinkClient& client, Recovery& recovery) {
  struct Moment {
    Clock::time_point time;
    std::uint64_t bytes = 0;
    Samples ages;  // of the pictures since the previous moment
  };
  client.takeAges();
  const auto begin = Clock::now();
  std::deque<Moment> moments;
  moments.push_back({begin, link_.carriedBytes(), {}});
  while (Clock::now() < begin + recoveryDeadline) {
    std::this_thread::sleep_for(50ms);
    moments.push_back({Clock::now(), link_.carriedBytes(), client.takeAges()});
    const auto& now = moments.back();
    if (!recovery.firstPictureSeconds && !now.ages.values.empty())
      recovery.firstPictureSeconds = secondsOf(now.time - begin);
    while (moments[1].time <= now.time - 1s) moments.pop_front();
    const auto& then = moments.front();
    const double seconds = secondsOf(now.time - then.time);
    if (seconds < 1) continue;
    Samples ages;
    for (auto moment = moments.begin() + 1; moment != moments.end(); ++moment)
      ages.values.insert(ages.values.end(), moment->ages.values.begin(), moment->ages.values.end());
    const double use = static_cast<double>(now.bytes - then.bytes) * 8 / seconds / link_.bitsPerSecond();
    const double rate = static_cast<double>(ages.values.size()) / seconds;
    if (use < recovered * recovery.linkUseBefore || rate < recovered * recovery.picturesBefore) continue;
    if (ages.mean() > recovery.ageBefore * 1.5 + 100) continue;
    recovery.fullRateSeconds = secondsOf(then.time - begin);
    return;
  }
}

Recovery Measurement::afterThinLink(LinkClient& client, std::chrono::seconds duration) {
  auto recovery = before(client, 5s);
  link_.setShare(0.1);
  std::this_thread::sleep_for(duration);
  link_.setShare(1);
  awaitFullRate(client, recovery);
  return recovery;
}

Recovery Measurement::afterStall(LinkClient& client, std::chrono::seconds duration) {
  auto recovery = before(client, 5s);
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
    // The host has handled the stop, and everything sent before its answer has arrived. Later pictures count
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
