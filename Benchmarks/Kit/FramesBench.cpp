// SPDX-License-Identifier: GPL-3.0-or-later
// The deframer compared with a plain copy of the same bytes, and its cost per byte when fed in small pieces.
#include <algorithm>
#include <cstring>

#include <benchmark/benchmark.h>

#include <QuorlKit/Protocol/Frames.h>

namespace {

using namespace quorl;

constexpr std::size_t mebibyte = 1 << 20;

Bytes streamOf(std::size_t payloadSize) {
  return Frame{FrameType::video, Bytes(payloadSize, 0x5A)}.encoded();
}

// The minimum for any deframer: one fresh buffer and one copy.
void copyOneMebibyte(benchmark::State& state) {
  const Bytes stream = streamOf(mebibyte);
  for (auto _ : state) {
    Bytes copy(stream.begin() + frameHeaderSize, stream.end());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * mebibyte));
}
BENCHMARK(copyOneMebibyte);

void memcpyOneMebibyteIntoABufferInUse(benchmark::State& state) {
  const Bytes stream = streamOf(mebibyte);
  Bytes copy(mebibyte);
  for (auto _ : state) {
    std::memcpy(copy.data(), stream.data() + frameHeaderSize, mebibyte);
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * mebibyte));
}
BENCHMARK(memcpyOneMebibyteIntoABufferInUse);

// Argument: the number of bytes per call.
void deframeOneMebibyte(benchmark::State& state) {
  const Bytes stream = streamOf(mebibyte);
  const auto step = static_cast<std::size_t>(state.range(0));
  Deframer deframer;
  for (auto _ : state) {
    for (std::size_t at = 0; at < stream.size(); at += step) {
      auto frames = deframer.feed(ByteView(stream).subspan(at, std::min(step, stream.size() - at)));
      benchmark::DoNotOptimize(frames);
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * mebibyte));
}
BENCHMARK(deframeOneMebibyte)->Arg(2 * mebibyte)->Arg(524'288)->Arg(65'536)->Arg(1460);

// Argument: the size of the frame. The rate must not depend on it.
void deframeByteByByte(benchmark::State& state) {
  const Bytes stream = streamOf(static_cast<std::size_t>(state.range(0)));
  Deframer deframer;
  for (auto _ : state)
    for (const std::uint8_t& byte : stream) {
      auto frames = deframer.feed({&byte, 1});
      benchmark::DoNotOptimize(frames);
    }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * stream.size()));
}
BENCHMARK(deframeByteByByte)->Arg(1 << 10)->Arg(1 << 14)->Arg(1 << 18)->Arg(1 << 22);

}  // namespace
