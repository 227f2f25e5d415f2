// SPDX-License-Identifier: GPL-3.0-or-later
// The payloads that occur many times a second.
#include <benchmark/benchmark.h>

#include <QuorlKit/Foundation/Base64.h>
#include <QuorlKit/Foundation/Digest.h>
#include <QuorlKit/Protocol/InputEvents.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>
#include <QuorlKit/Protocol/VideoUDP.h>

namespace {

using namespace quorl;

void decodeAPointerEvent(benchmark::State& state) {
  const Bytes bytes = InputEvent(inputEvent::Pointer{.streamID = 7, .x = 0.5F, .y = 0.25F}).encoded();
  for (auto _ : state) {
    auto event = InputEvent::decode(bytes);
    benchmark::DoNotOptimize(event);
  }
}
BENCHMARK(decodeAPointerEvent);

void frameAPicture(benchmark::State& state) {
  const SharedVideoPacket packet{7, {}, 99, shareBytes(Bytes(200'000))};
  for (auto _ : state) {
    auto frame = OutgoingFrame::video(packet);
    benchmark::DoNotOptimize(frame);
  }
}
BENCHMARK(frameAPicture);

void cutAPictureIntoDatagrams(benchmark::State& state) {
  const Bytes picture(200'000);
  for (auto _ : state) {
    auto datagrams = VideoUDP::fragments(7, 1, {}, 99, picture);
    benchmark::DoNotOptimize(datagrams);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * picture.size()));
}
BENCHMARK(cutAPictureIntoDatagrams);

void cutAPictureWithoutACopy(benchmark::State& state) {
  const Bytes picture(200'000);
  for (auto _ : state) {
    VideoUDP::forEachFragment({7, 1, {}, 99}, picture, [](ByteView header, ByteView chunk) {
      benchmark::DoNotOptimize(header.data());
      benchmark::DoNotOptimize(chunk.data());
    });
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * picture.size()));
}
BENCHMARK(cutAPictureWithoutACopy);

void base64OfAnIcon(benchmark::State& state) {
  const Bytes icon(10'000, 0xA5);
  for (auto _ : state) {
    auto text = base64Encoded(icon);
    auto bytes = base64Decoded(text);
    benchmark::DoNotOptimize(bytes);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * icon.size()));
}
BENCHMARK(base64OfAnIcon);

void sha256OfAMebibyte(benchmark::State& state) {
  const Bytes data(1 << 20);
  for (auto _ : state) {
    auto digest = sha256(data);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * data.size()));
}
BENCHMARK(sha256OfAMebibyte)->Unit(benchmark::kMicrosecond);

}  // namespace
