// SPDX-License-Identifier: GPL-3.0-or-later
// Time from a change on an X display to its decoded pixel in a client, over loopback TCP, for this host and
// two VNC servers in turn, in one run. Prints medians, 95th percentiles and the ratio to the better peer.
//   usage: end_to_end_bench PATH_OF_quorl_host [rounds] [draws per round] [--alone] [--window] [--awake]
//   --alone: without the peers, for a quick check
//   --window: instead of the peers, a stream of the window that is drawn on, free and covered by another
//   --awake: keeps the processors awake between draws
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "../Support/Program.h"
#include "../Support/RfbViewer.h"
#include "Painter.h"
#include "QuorlViewer.h"

namespace {

using namespace quorl::bench;
using namespace std::chrono_literals;

struct Contender {
  std::string name;
  std::function<std::unique_ptr<Program>(std::uint16_t port)> start;
  std::function<std::unique_ptr<Viewer>(std::uint16_t port)> connect;
  bool isCovered = false;
};

struct Row {
  std::string name;
  std::function<std::vector<Probe>(Painter&)> prepare;
};

const std::vector<Row> rows = {
    {"small block (64x64)", [](Painter& painter) { return painter.prepareBlock(64); }},
    {"flat full screen", [](Painter& painter) { return painter.prepareFlat(); }},
    {"picture full screen", [](Painter& painter) { return painter.preparePicture(); }},
};

// Milliseconds for each draw; a draw that was not seen in time counts as the deadline.
using Samples = std::vector<double>;

constexpr auto deadline = 1000ms;

double percentile(Samples samples, double share) {
  if (samples.empty()) return 0;
  std::sort(samples.begin(), samples.end());
  const auto index = static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1) + 0.5);
  return samples[index];
}

// Difference of a picture from what was drawn, as the mean over the channels: the first picture that shows
// it, and the picture shown a while later.
struct Sharpness {
  Samples first;
  Samples later;
};

constexpr auto sharpAfter = 100ms;

void measureRow(Painter& painter, Viewer& viewer, const Row& row, int draws, Samples& samples,
                Sharpness& sharpness) {
  for (int draw = 0; draw < draws; ++draw) {
    const auto probes = row.prepare(painter);
    viewer.arm(probes);
    const auto begin = painter.commit();
    const auto seen = viewer.wait(deadline);
    samples.push_back(seen ? std::chrono::duration<double, std::milli>(*seen - begin).count()
                           : std::chrono::duration<double, std::milli>(deadline).count());
    if (const auto error = viewer.error()) sharpness.first.push_back(*error);
    std::this_thread::sleep_until(begin + sharpAfter);
    if (const auto error = viewer.error()) sharpness.later.push_back(*error);
    // A pause that is not a multiple of any contender's polling interval.
    std::this_thread::sleep_for(std::chrono::microseconds(90'000 + 1'371 * (draw % 17)));
  }
}

struct Animation {
  double picturesPerSecond = 0;
  double cpuShare = 0;
  double megabytesPerSecond = 0;
};

Animation measureAnimation(Painter& painter, Viewer& viewer, const Program& server) {
  constexpr int steps = 600;
  const auto picturesBefore = viewer.pictures();
  const auto bytesBefore = viewer.bytes();
  const double cpuBefore = server.cpuSeconds();
  const auto begin = Clock::now();
  for (int step = 0; step < steps; ++step) {
    painter.animate(step);
    std::this_thread::sleep_until(begin + (step + 1) * std::chrono::nanoseconds(1'000'000'000 / 60));
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  return {static_cast<double>(viewer.pictures() - picturesBefore) / seconds,
          (server.cpuSeconds() - cpuBefore) / seconds,
          static_cast<double>(viewer.bytes() - bytesBefore) / seconds / 1e6};
}

// CPU share of the server and pictures sent while the screen does not change.
void measureIdle(Viewer& viewer, const Program& server) {
  std::this_thread::sleep_for(2s);  // let refinement and start-up finish
  const auto pictures = viewer.pictures();
  const double cpu = server.cpuSeconds();
  std::this_thread::sleep_for(10s);
  fmt::print("idle, connected: {} pictures in 10 s, {:.2f} % of a core\n", viewer.pictures() - pictures,
             (server.cpuSeconds() - cpu) * 10);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fmt::print(stderr,
               "usage: {} PATH_OF_quorl_host [rounds] [draws per round] [--alone] [--window] [--awake]\n",
               argv[0]);
    return 2;
  }
  const std::string host = argv[1];
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
  const int draws = argc > 3 ? std::atoi(argv[3]) : 30;
  const std::vector<std::string_view> options(argv + std::min(argc, 4), argv + argc);
  const bool isOfWindow = std::ranges::count(options, "--window") > 0;
  const bool isAlone = isOfWindow || std::ranges::count(options, "--alone") > 0;
  const bool isAwake = std::ranges::count(options, "--awake") > 0;

  char folderTemplate[] = "/tmp/quorl-bench-XXXXXX";
  const std::string folder = mkdtemp(folderTemplate);
  const VirtualScreen screen(1920, 1080);
  const std::string displayVariable = "DISPLAY=" + screen.display();

  const auto vnc = [&](std::vector<std::string> arguments) {
    return std::make_unique<Program>(arguments, std::vector{displayVariable, "HOME=" + folder},
                                     folder + "/peer.log");
  };
  std::vector<Contender> contenders;
  contenders.push_back({"quorl_host",
                        [&](std::uint16_t port) {
                          return std::make_unique<Program>(
                              std::vector<std::string>{host, "--pin", "123456"},
                              std::vector<std::string>{displayVariable, "HOME=" + folder,
                                                       "XDG_DATA_HOME=" + folder,
                                                       "QUORL_HOST_PORT=" + std::to_string(port)},
                              folder + "/host.log");
                        },
                        [](std::uint16_t port) { return connectQuorlViewer("quorl_host", port, "123456"); }});
  contenders.push_back(
      {"x0vncserver",
       [&](std::uint16_t port) {
         return vnc({"x0vncserver", "-rfbport", std::to_string(port), "-SecurityTypes", "None", "-localhost",
                     "-display", screen.display()});
       },
       [](std::uint16_t port) { return connectRfbViewer("x0vncserver", port, "tight zrle raw"); }});
  contenders.push_back(
      {"x11vnc",
       [&](std::uint16_t port) {
         return vnc({"x11vnc", "-rfbport", std::to_string(port), "-nopw", "-forever", "-localhost", "-quiet",
                     "-display", screen.display()});
       },
       [](std::uint16_t port) { return connectRfbViewer("x11vnc", port, "tight zrle raw"); }});

  if (isAlone) contenders.resize(1);

  Painter painter(screen.display());
  if (isOfWindow) {
    const auto watchWindow = [&painter](std::uint16_t port) {
      return connectQuorlViewer("window", port, "123456", quorl::VideoCodec::h264,
                                quorl::streamTarget::Window{painter.window()});
    };
    contenders.push_back({"window", contenders.front().start, watchWindow});
    contenders.push_back({"covered window", contenders.front().start, watchWindow, true});
  }
  std::map<std::string, std::map<std::string, Samples>> samples;
  std::map<std::string, Sharpness> sharpness;
  std::map<std::string, Animation> animations;
  for (int round = 0; round < rounds; ++round) {
    for (const auto& contender : contenders) {
      const std::uint16_t port = freePort();
      const auto server = contender.start(port);
      auto viewer = contender.connect(port);
      if (!viewer) {
        fmt::print(stderr, "{} does not answer; see {}\n", contender.name, folder);
        return 1;
      }
      Samples warmUp;
      Sharpness unused;
      for (const auto& row : rows) measureRow(painter, *viewer, row, 3, warmUp, unused);
      // The start of a window's stream raises the window over any earlier cover.
      if (contender.isCovered) painter.cover();
      std::optional<AwakeProcessors> awake;
      if (isAwake) awake.emplace();
      for (const auto& row : rows)
        measureRow(painter, *viewer, row, draws, samples[row.name][contender.name],
                   &row == &rows.back() ? sharpness[contender.name] : unused);
      awake.reset();
      for (const auto& row : rows)
        fmt::print(stderr, "round {} {:12} {:22} {:.2f} ms\n", round + 1, contender.name, row.name,
                   percentile(samples[row.name][contender.name], 0.5));
      if (round == 0) animations[contender.name] = measureAnimation(painter, *viewer, *server);
      if (contender.isCovered) painter.uncover();
      if (round > 0 || isOfWindow || contender.name != "quorl_host") continue;
      measureIdle(*viewer, *server);
      viewer.reset();
      const auto hevc = connectQuorlViewer("HEVC", port, "123456", quorl::VideoCodec::hevc);
      if (!hevc) return 1;
      for (const auto& row : rows) measureRow(painter, *hevc, row, 3, warmUp, unused);
      // The host sends H.264 if this machine is too slow for HEVC.
      animations["asked for HEVC, given " + hevc->format()] = measureAnimation(painter, *hevc, *server);
    }
  }

  fmt::print("change to decoded pixel, 1920x1080, milliseconds: median / 95th percentile of {} draws\n",
             rounds * draws);
  for (const auto& row : rows) {
    auto& byName = samples[row.name];
    fmt::print("{:22}", row.name);
    for (const auto& contender : contenders)
      fmt::print("  {} {:.1f} / {:.1f}", contender.name, percentile(byName[contender.name], 0.5),
                 percentile(byName[contender.name], 0.95));
    if (isAlone) {
      fmt::print("\n");
      continue;
    }
    const double peer = std::min(percentile(byName["x0vncserver"], 0.5), percentile(byName["x11vnc"], 0.5));
    fmt::print("  ratio to the better peer {:.2f}\n", peer / percentile(byName["quorl_host"], 0.5));
  }
  fmt::print("picture full screen, mean error of 255: in the first picture / after {} ms\n",
             sharpAfter.count());
  for (const auto& contender : contenders)
    fmt::print("  {:12} {:.1f} / {:.1f}\n", contender.name, percentile(sharpness[contender.name].first, 0.5),
               percentile(sharpness[contender.name].later, 0.5));
  fmt::print("60 Hz full-screen animation\n");
  for (const auto& [name, animation] : animations) {
    fmt::print("  {:12} {:.1f} pictures/s", name, animation.picturesPerSecond);
    // Unknown for a peer that works in a process it has detached from.
    if (animation.cpuShare > 0) fmt::print(", {:.0f} % of a core", animation.cpuShare * 100);
    if (animation.megabytesPerSecond > 0) fmt::print(", {:.2f} MB/s", animation.megabytesPerSecond);
    fmt::print("\n");
  }
  std::filesystem::remove_all(folder);
  return 0;
}
