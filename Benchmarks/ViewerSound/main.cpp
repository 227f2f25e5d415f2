// SPDX-License-Identifier: GPL-3.0-or-later
// Time from a sound on the host's output to the same sound on the viewer's output, with the real host and
// viewer, two private sound servers and two displays. At each click the host's whole display changes its
// colour; the changed pixel on the viewer's display shows whether sound and picture are in step.
//   usage: viewer_sound_bench PATH_OF_quorl_host [clicks] [--still] [--awake]
//   --still: without the changes of the picture
//   --awake: keeps the processors awake
// Exit status: 0 if the goals are met, 1 if one is missed, 2 if it cannot run.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <string_view>
#include <thread>
#include <vector>

#include "../EndToEnd/Painter.h"
#include "../GlassToGlass/Contenders.h"
#include "../GlassToGlass/ScreenWatcher.h"
#include "Clicker.h"
#include "OnsetWatcher.h"
#include "SoundServer.h"

namespace {

using namespace quorl::bench;
using namespace std::chrono_literals;

constexpr auto deadline = 2000ms;
constexpr double soundGoal = 120;  // milliseconds
constexpr double stepGoal = 80;

double millisecondsOf(Clock::duration time) {
  return std::chrono::duration<double, std::milli>(time).count();
}

double quantile(std::vector<double> values, double share) {
  std::ranges::sort(values);
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
}

struct Times {
  std::vector<double> sound;    // milliseconds, from output to output
  std::vector<double> picture;  // from display to display
  std::vector<double> step;     // how much later the sound is than its picture
  int unheard = 0;
  int unseen = 0;
};

class Run {
 public:
  Run(Clicker& clicker, OnsetWatcher& source, OnsetWatcher& output, Painter& painter, Viewer& screen)
      : clicker_(clicker), source_(source), output_(output), painter_(painter), screen_(screen) {}

  /// The first sound and picture: false if they do not come.
  bool begin() {
    for (int attempt = 0; attempt < 20; ++attempt) {
      Times times;
      click(true, times);
      if (times.step.size() == 1) return true;
    }
    return false;
  }

  void click(bool hasPicture, Times& times) {
    // A random phase of the blocks, packets and pictures on the way.
    std::this_thread::sleep_for(std::chrono::microseconds(500'000 + random_() % 300'000));
    source_.arm();
    output_.arm();
    if (hasPicture) screen_.arm(painter_.prepareFlat());
    clicker_.click();
    const auto drawn = hasPicture ? painter_.commit() : Clock::now();
    const auto played = source_.wait(deadline);
    const auto heard = output_.wait(deadline);
    const auto seen = hasPicture ? screen_.wait(deadline) : std::nullopt;
    const bool isHeard = played && heard;
    if (isHeard)
      times.sound.push_back(millisecondsOf(*heard - *played));
    else
      ++times.unheard;
    if (!hasPicture) return;
    if (!seen) ++times.unseen;
    if (!seen || !isHeard) return;
    times.picture.push_back(millisecondsOf(*seen - drawn));
    times.step.push_back(times.sound.back() - times.picture.back());
  }

 private:
  Clicker& clicker_;
  OnsetWatcher& source_;
  OnsetWatcher& output_;
  Painter& painter_;
  Viewer& screen_;
  std::mt19937 random_{11};
};

void print(const char* name, const std::vector<double>& values) {
  if (values.empty()) return;
  fmt::print("{:<38} median {:6.1f}, 90 % {:6.1f}, least {:6.1f}, most {:6.1f} ms ({})\n", name,
             quantile(values, 0.5), quantile(values, 0.9), quantile(values, 0), quantile(values, 1),
             values.size());
}

int report(const Times& times) {
  print("sound, from output to output", times.sound);
  print("picture, from display to display", times.picture);
  print("sound later than its picture", times.step);
  fmt::print("not heard: {}, not seen: {}\n", times.unheard, times.unseen);
  if (times.sound.empty()) return 1;
  const bool isInStep =
      std::ranges::all_of(times.step, [](double late) { return std::abs(late) <= stepGoal; });
  return quantile(times.sound, 1) < soundGoal && isInStep && times.unheard + times.unseen == 0 ? 0 : 1;
}

int run(const std::string& host, const std::string& folder, int clicks, bool hasPictures, bool isAwake) {
  for (const char* name : {"/source", "/output"}) std::filesystem::create_directory(folder + name);
  const SoundServer sourceServer(folder + "/source");
  const SoundServer outputServer(folder + "/output");
  const VirtualScreen served(1920, 1080);
  const VirtualScreen shown(1920, 1080);
  const Program manager({"openbox"}, {"DISPLAY=" + shown.display(), "HOME=" + folder},
                        folder + "/openbox.log");
  Clicker clicker(sourceServer.address());
  OnsetWatcher source(sourceServer.address(), SoundServer::monitor);
  OnsetWatcher output(outputServer.address(), SoundServer::monitor);

  // Programs inherit the address of the sound server that is set when they start.
  const auto contender = contenders({host, folder, served.display(), shown.display()}).front();
  const std::uint16_t port = freePort();
  setenv("PULSE_SERVER", sourceServer.address().c_str(), 1);
  const auto server = contender.serve(port);
  if (!contender.prepare(port)) throw std::runtime_error("the viewer cannot be let in");
  setenv("PULSE_SERVER", outputServer.address().c_str(), 1);
  const auto viewer = contender.view(port);

  Painter painter(served.display());
  const auto screen = watchScreen(shown.display());
  Run measurement(clicker, source, output, painter, *screen);
  if (!measurement.begin()) throw std::runtime_error("no sound or no picture comes; see " + folder);
  std::optional<AwakeProcessors> awake;
  if (isAwake) awake.emplace();
  Times times;
  // The viewer holds less sound once the link has been calm for a while.
  for (int number = 0; number < 60; ++number) measurement.click(hasPictures, times);
  times = {};
  for (int number = 0; number < clicks; ++number) measurement.click(hasPictures, times);
  return report(times);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    fmt::print(stderr, "usage: {} PATH_OF_quorl_host [clicks] [--still] [--awake]\n", argv[0]);
    return 2;
  }
  const std::vector<std::string_view> words(argv + 2, argv + argc);
  const bool isStill = std::ranges::count(words, "--still") > 0;
  const bool isAwake = std::ranges::count(words, "--awake") > 0;
  const int given = argc > 2 ? std::atoi(argv[2]) : 0;
  try {
    char folderTemplate[] = "/tmp/quorl-bench-XXXXXX";
    const std::string folder = mkdtemp(folderTemplate);
    const int status =
        run(std::filesystem::absolute(argv[1]).string(), folder, given > 0 ? given : 40, !isStill, isAwake);
    std::error_code error;
    std::filesystem::remove_all(folder, error);
    return status;
  } catch (const std::exception& error) {
    fmt::print(stderr, "viewer_sound_bench cannot run: {}\n", error.what());
    return 2;
  }
}
