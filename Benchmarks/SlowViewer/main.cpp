// SPDX-License-Identifier: GPL-3.0-or-later
// The real host and the real viewer over a real slow link: what a person at the viewer notices while the
// host's screen rests, and while it shows full-screen motion.
//   usage: slow_viewer_bench PATH_OF_quorl_host [--rates 2,5,20] [--delays 0,40] [--seconds 30]
//   --rates: Mbit/s; --delays: added round trips in ms; --seconds: of each of the two parts
// Needs root, /dev/net/tun, iproute2, openbox and Xvfb. Exit status: 0 if all goals are met, 1 if one is
// missed, 2 if it cannot run.
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "../GlassToGlass/ScreenWatcher.h"
#include "../SlowLink/Enclosure.h"
#include "../Support/Program.h"
#include "Measurement.h"

namespace {

using namespace quorl::bench;
using namespace std::chrono_literals;

constexpr std::uint16_t port = 47'900;  // each link has its own namespaces
constexpr auto warmUp = 5s;
constexpr double recoveryGoal = 3;  // seconds

struct Options {
  std::string host;
  std::vector<double> rates{2, 5, 20};
  std::vector<double> delays{0, 40};
  std::chrono::seconds seconds{30};

  std::string besides(const char* program) const {
    return std::filesystem::path(host).replace_filename(program).string();
  }
};

std::vector<double> numbersOf(const std::string& text) {
  std::vector<double> numbers;
  std::istringstream stream(text);
  for (std::string word; std::getline(stream, word, ',');) numbers.push_back(std::stod(word));
  return numbers;
}

std::optional<Options> optionsOf(int count, char** words) {
  if (count < 2 || count % 2 != 0) return std::nullopt;
  Options options;
  options.host = std::filesystem::absolute(words[1]);
  for (int index = 2; index < count; index += 2) {
    const std::string name = words[index];
    if (name == "--rates")
      options.rates = numbersOf(words[index + 1]);
    else if (name == "--delays")
      options.delays = numbersOf(words[index + 1]);
    else if (name == "--seconds")
      options.seconds = std::chrono::seconds(std::stoi(words[index + 1]));
    else
      return std::nullopt;
  }
  return options;
}

std::string textOf(const Samples& samples) {
  auto text = fmt::format("{:.0f} / {:.0f} / {:.0f} ({})", samples.quantile(0.5), samples.quantile(0.95),
                          samples.quantile(1), samples.values.size());
  if (samples.unanswered > 0) text += fmt::format(", {} not seen", samples.unanswered);
  return text;
}

class Report {
 public:
  explicit Report(const LinkShape& shape) {
    fmt::print("\n{:g} Mbit/s, {} ms of added round trip; times in ms: median / p95 / max (count)\n\n",
               shape.megabits, shape.roundTrip.count());
  }

  void times(const char* what, const Samples& samples, double goal) {
    judge(what, textOf(samples), fmt::format("p95 <= {:.0f}", goal),
          !samples.values.empty() && samples.quantile(0.95) <= goal);
  }
  void recovery(const char* what, const std::optional<double>& seconds) {
    judge(what, seconds ? fmt::format("{:.2f} s", *seconds) : "not in 30 s",
          fmt::format("<= {:g} s", recoveryGoal), seconds && *seconds <= recoveryGoal);
  }
  void judge(const char* what, const std::string& value, const std::string& goal, bool isMet) {
    fmt::print("{:<44} {:<28} {:<12} {}\n", what, value, goal, isMet ? "pass" : "FAIL");
    std::fflush(stdout);
    if (!isMet) ++missed_;
  }
  int missed() const { return missed_; }

 private:
  int missed_ = 0;
};

class Run {
 public:
  Run(const Options& options, const std::string& served, const std::string& shown)
      : options_(options), served_(served), shown_(shown), finger_(shown) {}

  int over(const LinkShape& shape) {
    LimitedLink link(shape);
    const std::string folder = fmt::format("/tmp/link-{}", ++links_);
    std::filesystem::create_directories(folder);
    const auto host = startIn(link.hostSide(), {options_.host, "--pin", "123456"}, served_, folder);
    pair(link, folder);
    const auto viewer = startIn(
        link.clientSide(), {options_.besides("quorl_viewer"), "--host", address(), "--full-screen", "--mute"},
        shown_, folder);
    const auto screen = watchScreen(shown_);
    const auto counter = watchScreen(shown_);
    awaitPicture(*screen);
    Report report(shape);
    const double roundTrip = static_cast<double>(shape.roundTrip.count());
    const double goal = roundTrip + (shape.megabits < 5 ? 450 : 200);
    {
      ProbeBlock block(served_);
      KeyBlock keys(served_);
      std::this_thread::sleep_for(warmUp);
      const auto still =
          Measurement({link, block, keys, finger_, *screen, *counter}).during(options_.seconds);
      report.times("small change, still screen", still.change, goal);
      report.times("key to its pixel, still screen", still.key, goal);
    }
    const Motion motion(served_);
    ProbeBlock block(served_);
    KeyBlock keys(served_);
    const std::array anything{Probe{600, 500, {}, 255}};
    counter->arm(anything);
    std::this_thread::sleep_for(warmUp);
    Measurement measurement({link, block, keys, finger_, *screen, *counter});
    const auto drawn = motion.drawn();
    const auto moving = measurement.during(options_.seconds);
    const auto drawnPerSecond =
        static_cast<double>(motion.drawn() - drawn) / static_cast<double>(options_.seconds.count());
    report.times("small change beside the motion", moving.change, goal);
    report.times("key to its pixel beside the motion", moving.key, goal);
    const double use = shape.megabits < 5 ? 0.80 : 0.85;
    report.judge("use of the link", fmt::format("{:.0f} %", moving.linkUse * 100),
                 fmt::format(">= {:.0f} %", use * 100), moving.linkUse >= use);
    fmt::print("{:<44} {:.1f} of {:.1f}\n", "pictures a second, of those drawn", moving.picturesPerSecond,
               drawnPerSecond);
    report.recovery("full rate after 10 s at a tenth of it", measurement.secondsAfterThinLink(moving, 10s));
    std::this_thread::sleep_for(warmUp);
    report.recovery("full rate after a stall of 2 s", measurement.secondsAfterStall(moving, 2s));
    return report.missed();
  }

 private:
  static std::string address() { return fmt::format("{}:{}", LimitedLink::hostAddress, port); }

  static std::unique_ptr<Program> startIn(const NetworkSpace& space, const std::vector<std::string>& words,
                                          const std::string& display, const std::string& folder) {
    std::unique_ptr<Program> program;
    space.run([&] {
      program = std::make_unique<Program>(
          words,
          std::vector<std::string>{
              "DISPLAY=" + display, "HOME=" + folder, "XDG_DATA_HOME=" + folder + "/data",
              "XDG_CONFIG_HOME=" + folder + "/config", "XDG_RUNTIME_DIR=" + folder, "QT_QPA_PLATFORM=xcb",
              "PULSE_SERVER=none", "QUORL_HOST_MENU=", "QUORL_HOST_PORT=" + std::to_string(port)},
          folder + "/log");
    });
    return program;
  }

  void pair(const LimitedLink& link, const std::string& folder) const {
    const std::string command = fmt::format(
        "for attempt in $(seq 50); do HOME='{0}' XDG_CONFIG_HOME='{0}/config' '{1}' pair {2} --pin 123456 "
        ">>'{0}/pair' 2>&1 && exit 0; sleep 0.2; done; exit 1",
        folder, options_.besides("quorl_client"), address());
    link.clientSide().command(command);
  }

  void awaitPicture(Viewer& screen) const {
    ProbeBlock block(served_);
    for (int attempt = 0; attempt < 30; ++attempt) {
      const std::array probes{block.prepare()};
      screen.arm(probes);
      block.draw();
      if (screen.wait(1s)) return;
    }
    throw std::runtime_error("the viewer shows nothing");
  }

  const Options& options_;
  const std::string served_;
  const std::string shown_;
  Finger finger_;
  int links_ = 0;
};

int run(const Options& options) {
  const VirtualScreen served(1920, 1080);
  const VirtualScreen shown(1920, 1080);
  const Program manager({"openbox"}, {"DISPLAY=" + shown.display(), "HOME=/tmp"}, "/tmp/openbox.log");
  Run run(options, served.display(), shown.display());
  int missed = 0;
  for (const double rate : options.rates)
    for (const double delay : options.delays)
      missed += run.over({rate, std::chrono::milliseconds(static_cast<int>(delay)), "cubic"});
  return missed == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = optionsOf(argc, argv);
  if (!options) {
    fmt::print(stderr, "usage: {} PATH_OF_quorl_host [--rates 2,5,20] [--delays 0,40] [--seconds 30]\n",
               argv[0]);
    return 2;
  }
  try {
    if (::access(options->host.c_str(), X_OK) != 0)
      throw std::runtime_error("cannot execute " + options->host);
    enterEnclosure();
    return run(*options);
  } catch (const std::exception& error) {
    fmt::print(stderr, "slow_viewer_bench cannot run: {}\n", error.what());
    return 2;
  }
}
