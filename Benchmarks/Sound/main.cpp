// SPDX-License-Identifier: GPL-3.0-or-later
// The cost of compressing sound, and the time from its capture to its packets. The second part records the
// default output of the sound server that PULSE_SERVER names.
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <numbers>
#include <vector>

#include <fmt/format.h>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostLinux/Sound/PulseSoundCapture.h>
#include <QuorlHostLinux/SoundCoding/AACCompressor.h>

namespace quorl::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr double rate = 48'000;
constexpr std::size_t frameSize = 2 * sizeof(float);
constexpr std::size_t framesPerPacket = 1'024;

Bytes sound(double seconds, float (*sample)(std::size_t)) {
  const auto frames = static_cast<std::size_t>(rate * seconds);
  Bytes bytes(frames * frameSize);
  for (std::size_t frame = 0; frame < frames; ++frame) {
    const float both[2] = {sample(frame), sample(frame)};
    std::memcpy(bytes.data() + frame * frameSize, both, sizeof both);
  }
  return bytes;
}

float silence(std::size_t) {
  return 0;
}
float tone(std::size_t frame) {
  return static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * 997 * static_cast<double>(frame) / rate));
}
float noise(std::size_t) {
  static std::uint32_t random = 1;
  random = random * 1'664'525 + 1'013'904'223;
  return static_cast<float>(random) / 4'294'967'296.0F - 0.5F;
}

double threadSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void measureCompression(const char* name, float (*sample)(std::size_t)) {
  constexpr double seconds = 20;
  const auto compressor = makeAACCompressors()->make({}, SoundCompression{});
  if (!compressor) return;
  const Bytes samples = sound(seconds, sample);
  std::size_t packets = 0;
  std::size_t bytes = 0;
  const double begin = threadSeconds();
  for (std::size_t at = 0; at < samples.size(); at += 512 * frameSize) {
    const auto made =
        (*compressor)
            ->compress(ByteView(samples).subspan(at, std::min(512 * frameSize, samples.size() - at)));
    packets += made->packetCount;
    bytes += made->data.size();
  }
  const double used = threadSeconds() - begin;
  fmt::print("{:<8} {:6.2f} % of a processor, {:6.1f} kbit/s, {:5.1f} bytes a packet\n", name,
             used / seconds * 100, static_cast<double>(bytes) * 8 / seconds / 1'000,
             static_cast<double>(bytes) / static_cast<double>(packets));
}

/// The arrivals of captured pieces and the departures of packets.
struct Record {
  struct Piece {
    Clock::time_point at;
    std::size_t end;  // frames so far
  };
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<Piece> pieces;
  std::vector<Clock::time_point> packets;
};

void print(const char* name, std::vector<double> values) {
  std::ranges::sort(values);
  const auto at = [&](double part) {
    return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
  };
  fmt::print("{:<44} median {:5.1f} ms, 95 % {:5.1f} ms, most {:5.1f} ms\n", name, at(0.5), at(0.95), at(1));
}

// The piece that came with the least delay shows when each sample was captured.
void report(const Record& record) {
  Clock::time_point zero = Clock::time_point::max();
  const auto timeOf = [](std::size_t frames) {
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(static_cast<double>(frames) / rate));
  };
  for (const auto& piece : record.pieces) zero = std::min(zero, piece.at - timeOf(piece.end));
  std::vector<double> delays;
  for (const auto& piece : record.pieces)
    delays.push_back(Milliseconds(piece.at - zero - timeOf(piece.end)).count());
  std::vector<double> newest;
  std::vector<double> middle;
  for (std::size_t packet = 0; packet < record.packets.size(); ++packet) {
    const auto end = zero + timeOf((packet + 1) * framesPerPacket);
    newest.push_back(Milliseconds(record.packets[packet] - end).count());
    middle.push_back(newest.back() + framesPerPacket / rate * 500);
  }
  fmt::print("{} pieces, {:.0f} frames each\n", record.pieces.size(),
             static_cast<double>(record.pieces.back().end) / static_cast<double>(record.pieces.size()));
  print("a piece, after its last sample", delays);
  print("a packet, after its last sample", newest);
  print("a packet, after the middle of its new samples", middle);
}

void measureLatency(double seconds) {
  Record record;
  PoolScheduler scheduler;
  const SerialQueue queue(scheduler, "bench.sound", QueueRank::service);
  PulseSoundCapture capture;
  const auto compressor = makeAACCompressors()->make({}, SoundCompression{});
  std::unique_ptr<SoundStream> stream;
  queue.sync([&] {
    stream = std::move(
        *capture.makeStream({}, queue, {.captured = [&](const PCMBuffer& buffer) {
                              const auto now = Clock::now();
                              const auto made = (*compressor)->compress(buffer.samples);
                              const std::lock_guard lock(record.mutex);
                              const auto before = record.pieces.empty() ? 0 : record.pieces.back().end;
                              record.pieces.push_back({now, before + buffer.samples.size() / frameSize});
                              for (std::size_t packet = 0; packet < made->packetCount; ++packet)
                                record.packets.push_back(Clock::now());
                              record.changed.notify_all();
                            }}));
    stream->start([](const std::optional<PortError>&) {});
  });
  {
    std::unique_lock lock(record.mutex);
    const auto wanted = static_cast<std::size_t>(rate * seconds);
    const bool isDone = record.changed.wait_for(lock, std::chrono::duration<double>(seconds * 2 + 5), [&] {
      return !record.pieces.empty() && record.pieces.back().end >= wanted;
    });
    if (!isDone) fmt::print("no sound server, or it does not keep up\n");
  }
  queue.sync([&] { stream.reset(); });
  if (record.packets.size() > 1) report(record);
}

}  // namespace
}  // namespace quorl::bench

int main(int argc, char** argv) {
  using namespace quorl::bench;
  measureCompression("silence", silence);
  measureCompression("tone", tone);
  measureCompression("noise", noise);
  measureLatency(argc > 1 ? std::atof(argv[1]) : 20);
  return 0;
}
