// SPDX-License-Identifier: GPL-3.0-or-later

// A picture of 5 MiB across the clipboard of the display that DISPLAY names, from one connection to another.
#include <future>
#include <memory>

#include <benchmark/benchmark.h>

#include <QuorlHostLinux/X11/Clipboard/X11Pasteboard.h>

namespace quorl {
namespace {

constexpr std::size_t fiveMebibytes = 5'242'880;

std::int64_t replace(X11Pasteboard& pasteboard, Bytes content) {
  auto done = std::make_shared<std::promise<std::int64_t>>();
  auto count = done->get_future();
  pasteboard.replace(PasteboardType::png, std::move(content),
                     [done](std::int64_t value) { done->set_value(value); });
  return count.get();
}

std::size_t read(X11Pasteboard& pasteboard) {
  auto done = std::make_shared<std::promise<std::size_t>>();
  auto size = done->get_future();
  pasteboard.read(PasteboardType::png, fiveMebibytes,
                  [done](auto content) { done->set_value(content ? content->size() : 0); });
  return size.get();
}

/// Offering, the list of targets, and the transfer in parts: both ends are ours.
void picture(benchmark::State& state) {
  X11Pasteboard from;
  X11Pasteboard to;
  const Bytes content(fiveMebibytes, 0x5A);
  for (auto _ : state) {
    replace(from, content);
    if (read(to) != fiveMebibytes) return state.SkipWithError("the picture did not arrive");
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * fiveMebibytes));
}
BENCHMARK(picture)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace quorl

BENCHMARK_MAIN();
