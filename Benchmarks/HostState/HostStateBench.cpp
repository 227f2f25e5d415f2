// SPDX-License-Identifier: GPL-3.0-or-later
// The cost of the host's state with 50 windows of 50 applications, whose icons take 6 KB each: building it on
// a pool's threads, encoding it once for all clients, and reading the metrics of this machine. The window
// server's part is not in it.
#include <future>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostCore/HostState/HostStateProvider.h>
#include <QuorlHostLinux/System/ProcMachineMetrics.h>
#include <QuorlKit/Protocol/OutgoingFrame.h>

namespace {

using namespace quorl;

constexpr std::uint32_t windowCount = 50;
constexpr std::size_t iconBytes = 6'000;

class Desktop : public ScreenCapture, public RunningApplications {
 public:
  Desktop() {
    content_.displays = {{.displayID = 1, .name = "Desk", .bounds = {{0, 0}, {2560, 1440}}, .isMain = true}};
    for (std::uint32_t number = 0; number < windowCount; ++number) {
      const std::string bundleID = "org.example.application" + std::to_string(number);
      const auto pid = static_cast<std::int32_t>(100 + number);
      content_.windows.push_back({.windowID = number,
                                  .pid = pid,
                                  .title = "A document with a title of ordinary length — Example",
                                  .bundleID = bundleID,
                                  .appName = "Example Application",
                                  .frame = {{10, 20}, {800, 600}},
                                  .isOnScreen = number % 3 != 0});
      content_.applications.push_back({bundleID, "Example Application", pid});
      regular_.insert(pid);
    }
  }

  void shareableContent(ContentAnswer answer) override { answer(content_); }
  void geometry(const CaptureFilter&, GeometryAnswer answer) override {
    answer(std::unexpected(PortError{"unused", 0}));
  }
  std::expected<std::unique_ptr<CaptureStream>, PortError> makeStream(const CaptureFilter&,
                                                                      const CaptureSettings&, SerialQueue,
                                                                      CaptureStream::Handlers) override {
    return std::unexpected(PortError{"unused", 0});
  }
  std::set<std::int32_t> regularApplications() override { return regular_; }
  std::optional<Bytes> iconPNG(const std::string&, std::int32_t, int) override {
    return Bytes(iconBytes, 0x5A);
  }

 private:
  ShareableContent content_;
  std::set<std::int32_t> regular_;
};

HostState stateOf(HostStateProvider& provider) {
  std::promise<HostState> state;
  provider.buildState([&](HostState built) { state.set_value(std::move(built)); });
  return state.get_future().get();
}

struct Host {
  Host() {
    const auto desktop = std::make_shared<Desktop>();
    Platform platform;
    platform.scheduler = &scheduler;
    platform.screen = desktop;
    platform.runningApplications = desktop;
    platform.metrics = std::make_shared<ProcMachineMetrics>();
    provider = std::make_shared<HostStateProvider>(platform);
  }
  HostState withIcons() {
    for (;;) {
      HostState state = stateOf(*provider);
      if (state.apps.back().iconPNG) return state;
    }
  }

  PoolScheduler scheduler;
  std::shared_ptr<HostStateProvider> provider;
};

void BM_BuildState(benchmark::State& state) {
  Host host;
  if (host.withIcons().windows.size() != windowCount) state.SkipWithError("windows are missing");
  for (auto _ : state) benchmark::DoNotOptimize(stateOf(*host.provider));
}
BENCHMARK(BM_BuildState)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_EncodeState(benchmark::State& state) {
  Host host;
  const ControlMessage message(message::HostState{host.withIcons()});
  std::size_t size = 0;
  for (auto _ : state) {
    const auto frame = OutgoingFrame::control(message);
    if (!frame) return state.SkipWithError("the state cannot be encoded");
    size = frame->size();
  }
  state.counters["bytes"] = static_cast<double>(size);
}
BENCHMARK(BM_EncodeState)->Unit(benchmark::kMillisecond);

void BM_ReadMetrics(benchmark::State& state) {
  SystemMetricsSampler sampler(std::make_shared<ProcMachineMetrics>());
  for (auto _ : state) benchmark::DoNotOptimize(sampler.sample());
}
BENCHMARK(BM_ReadMetrics)->Unit(benchmark::kMicrosecond);

}  // namespace
