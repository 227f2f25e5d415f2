// SPDX-License-Identifier: GPL-3.0-or-later
// Time from a change on a display to the changed pixel on another display, where a viewer shows the first one
// full-screen, for this host and its viewer and for VNC servers with a VNC viewer, in turn, in one run.
//   usage: glass_to_glass_bench PATH_OF_quorl_host [rounds] [draws per round] [--alone] [--awake]
//   --alone: without the peers
//   --awake: keeps the processors awake between draws
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string_view>
#include <thread>

#include "../EndToEnd/Painter.h"
#include "Contenders.h"
#include "ScreenWatcher.h"

namespace {

using namespace quorl::bench;
using namespace std::chrono_literals;

using Samples = std::vector<double>;  // milliseconds; the deadline for what was not seen in time

constexpr auto deadline = 2000ms;

struct Row {
  std::string name;
  std::function<std::vector<Probe>(Painter&, int draw)> prepare;
};

const std::vector<Row> rows = {
    {"small block (64x64)", [](Painter& painter, int) { return painter.prepareBlock(64); }},
    {"typing (10x16)", [](Painter& painter, int draw) { return painter.prepareGlyph(draw); }},
    {"flat full screen", [](Painter& painter, int) { return painter.prepareFlat(); }},
    {"picture full screen", [](Painter& painter, int) { return painter.preparePicture(); }},
};

double percentile(Samples samples, double share) {
  if (samples.empty()) return 0;
  std::ranges::sort(samples);
  return samples[static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1) + 0.5)];
}

double millisecondsSince(Clock::time_point begin, Clock::time_point end) {
  return std::chrono::duration<double, std::milli>(end - begin).count();
}

void measureRow(Painter& painter, Viewer& screen, const Row& row, int draws, Samples& samples) {
  for (int draw = 0; draw < draws; ++draw) {
    screen.arm(row.prepare(painter, draw));
    const auto begin = painter.commit();
    const auto seen = screen.wait(deadline);
    samples.push_back(millisecondsSince(begin, seen.value_or(begin + deadline)));
    // A pause that is not a multiple of any contender's polling interval.
    std::this_thread::sleep_for(std::chrono::microseconds(190'000 + 1'371 * (draw % 17)));
  }
}

struct Load {
  double megabits = 0;  // a second
  double server = 0;    // of a core
  double viewer = 0;
  double pictures = 0;  // a second, on the viewer's display

  std::string text() const {
    return fmt::format("{:8.2f} Mbit/s, server {:3.0f} %, viewer {:3.0f} %, {:4.1f} pictures/s", megabits,
                       server * 100, viewer * 100, pictures);
  }
};

Load measureLoad(const Program& server, const Program& viewer, const Viewer& screen, std::uint16_t port,
                 const std::function<void()>& work) {
  const auto begin = Clock::now();
  const auto bytes = sentBytes(port);
  const double serverBefore = server.cpuSeconds();
  const double viewerBefore = viewer.cpuSeconds();
  const auto pictures = screen.pictures();
  work();
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  return {static_cast<double>(sentBytes(port) - bytes) * 8 / 1e6 / seconds,
          (server.cpuSeconds() - serverBefore) / seconds, (viewer.cpuSeconds() - viewerBefore) / seconds,
          static_cast<double>(screen.pictures() - pictures) / seconds};
}

void animate(Painter& painter, int rate) {
  constexpr int seconds = 8;
  const auto begin = Clock::now();
  for (int step = 0; step < rate * seconds; ++step) {
    painter.animate(step);
    std::this_thread::sleep_until(begin + (step + 1) * std::chrono::nanoseconds(1'000'000'000 / rate));
  }
}

// Ten characters a second.
void type(Painter& painter) {
  const auto begin = Clock::now();
  for (int step = 0; step < 80; ++step) {
    painter.prepareGlyph(step);
    painter.commit();
    std::this_thread::sleep_until(begin + (step + 1) * 100ms);
  }
}

struct Results {
  std::map<std::string, Samples> latencies;
  Samples starts;
  std::map<std::string, Load> loads;
};

// Shows something and starts the viewer: the time until its display shows it.
std::optional<double> start(Painter& painter, Viewer& screen, const Contender& contender, std::uint16_t port,
                            std::unique_ptr<Program>& viewer) {
  const auto probes = painter.prepareFlat();
  painter.commit();
  std::this_thread::sleep_for(500ms);
  screen.arm(probes);
  const auto begin = Clock::now();
  viewer = contender.view(port);
  const auto seen = screen.wait(20s);
  if (!seen) return std::nullopt;
  return millisecondsSince(begin, *seen);
}

bool measure(const Contender& contender, Painter& painter, const std::string& shown, int draws, bool isAwake,
             bool isFirst, Results& results) {
  const std::uint16_t port = freePort();
  const auto server = contender.serve(port);
  if (!contender.prepare(port)) return false;
  const auto screen = watchScreen(shown);
  std::unique_ptr<Program> viewer;
  // The second start finds everything in the page cache.
  for (int attempt = 0; attempt < 2; ++attempt) {
    viewer.reset();
    const auto taken = start(painter, *screen, contender, port, viewer);
    if (!taken) return false;
    if (attempt > 0) results.starts.push_back(*taken);
  }
  Samples warmUp;
  for (const auto& row : rows) measureRow(painter, *screen, row, 3, warmUp);
  {
    std::optional<AwakeProcessors> awake;
    if (isAwake) awake.emplace();
    for (const auto& row : rows) measureRow(painter, *screen, row, draws, results.latencies[row.name]);
  }
  if (!isFirst) return true;
  const auto load = [&](const std::string& name, const std::function<void()>& work) {
    results.loads[name] = measureLoad(*server, *viewer, *screen, port, work);
  };
  load("animation 30 Hz", [&] { animate(painter, 30); });
  load("animation 60 Hz", [&] { animate(painter, 60); });
  std::this_thread::sleep_for(2s);  // until the last picture is sharp
  load("typing 10/s", [&] { type(painter); });
  std::this_thread::sleep_for(2s);
  load("still", [] { std::this_thread::sleep_for(10s); });
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fmt::print(stderr, "usage: {} PATH_OF_quorl_host [rounds] [draws per round] [--alone] [--awake]\n",
               argv[0]);
    return 2;
  }
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 2;
  const int draws = argc > 3 ? std::atoi(argv[3]) : 20;
  const std::vector<std::string_view> options(argv + std::min(argc, 4), argv + argc);
  const bool isAwake = std::ranges::count(options, "--awake") > 0;

  char folderTemplate[] = "/tmp/quorl-bench-XXXXXX";
  const std::string folder = mkdtemp(folderTemplate);
  const VirtualScreen served(1920, 1080);
  const VirtualScreen shown(1920, 1080);
  const Program manager({"openbox"}, {"DISPLAY=" + shown.display(), "HOME=" + folder},
                        folder + "/openbox.log");
  auto all =
      contenders({std::filesystem::absolute(argv[1]).string(), folder, served.display(), shown.display()});
  if (std::ranges::count(options, "--alone") > 0) all.resize(1);

  Painter painter(served.display());
  std::map<std::string, Results> results;
  for (int round = 0; round < rounds; ++round)
    for (const auto& contender : all) {
      if (!measure(contender, painter, shown.display(), draws, isAwake, round == 0,
                   results[contender.name])) {
        fmt::print(stderr, "{} shows nothing; see {}\n", contender.name, folder);
        return 1;
      }
      for (const auto& row : rows)
        fmt::print(stderr, "round {} {:18} {:20} {:.2f} ms\n", round + 1, contender.name, row.name,
                   percentile(results[contender.name].latencies[row.name], 0.5));
    }

  fmt::print("change to changed pixel, 1920x1080, milliseconds: median / 95th percentile of {} draws\n",
             rounds * draws);
  for (const auto& row : rows) {
    fmt::print("{:22}", row.name);
    for (const auto& contender : all) {
      const auto& samples = results[contender.name].latencies[row.name];
      fmt::print("  {} {:.1f} / {:.1f}", contender.name, percentile(samples, 0.5), percentile(samples, 0.95));
    }
    fmt::print("\n");
  }
  for (const auto& contender : all) {
    fmt::print("{}: start to first picture {:.0f} ms\n", contender.name,
               percentile(results[contender.name].starts, 0.5));
    for (const auto& [name, load] : results[contender.name].loads)
      fmt::print("  {:16} {}\n", name, load.text());
  }
  std::error_code error;  // a peer may still be writing there
  std::filesystem::remove_all(folder, error);
  return 0;
}
