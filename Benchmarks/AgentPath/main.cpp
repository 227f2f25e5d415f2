// SPDX-License-Identifier: GPL-3.0-or-later
// The cost of an agent's terminal through a real host, TCP and the real client, compared with the same
// program on a terminal of the benchmark, and with ssh and tmux if they are available:
//   agent_path_bench HOST CLIENT [--megabytes N] [--rounds N] [--only keys|flood|interrupt|memory]
// ssh is measured if the environment says how to reach a server: QUORL_BENCH_SSH="ssh -p 2022 localhost".
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "CounterPattern.h"
#include "HostSide.h"
#include "StreamClient.h"
#include "TerminalPeer.h"

namespace {

using namespace quorl::bench;
using namespace std::chrono_literals;
using Modes = TerminalPeer::Modes;

struct Options {
  std::string host;
  std::string client;
  std::string self;
  std::uint64_t megabytes = 1000;
  int rounds = 3;
  std::string only;

  std::uint64_t floodSize() const {
    return megabytes * 1'000'000 / CounterPattern::lineSize * CounterPattern::lineSize;
  }
};

double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  std::ranges::sort(values);
  const auto rank = static_cast<std::size_t>(share * static_cast<double>(values.size()));
  return values[std::min(rank, values.size() - 1)];
}

double median(const std::vector<double>& values) {
  return quantile(values, 0.5);
}

double secondsBetween(Clock::time_point begin, Clock::time_point end) {
  return std::chrono::duration<double>(end - begin).count();
}

std::vector<std::string> wordsOf(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

// One way to reach a command's terminal.
struct Road {
  std::string name;
  bool isTransparent = true;  // delivers every byte unchanged
  std::function<std::unique_ptr<TerminalPeer>(const std::string& command)> open;
};

class TmuxFolder {
 public:
  explicit TmuxFolder(const std::string& folder) : path_(folder + "/tmux") {
    std::filesystem::create_directories(path_);
  }
  ~TmuxFolder() {
    [[maybe_unused]] const int status =
        std::system(("TMUX_TMPDIR=" + path_ + " tmux -L bench kill-server 2>/dev/null").c_str());
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::vector<Road> roads(const HostSide& host, const TmuxFolder& tmux) {
  std::vector<Road> result;
  result.push_back({"direct terminal", true, [](const std::string& command) {
                      return std::make_unique<TerminalPeer>(
                          std::vector<std::string>{"/bin/sh", "-c", command}, std::vector<std::string>{},
                          Modes::ordinary);
                    }});
  result.push_back({"quorl_client attach", true, [&host](const std::string& command) {
                      const auto id = host.spawn(command);
                      return std::make_unique<TerminalPeer>(
                          std::vector<std::string>{host.clientProgram(), "attach", id},
                          host.clientEnvironment(), Modes::ordinary);
                    }});
  if (const char* ssh = std::getenv("QUORL_BENCH_SSH"))
    result.push_back({"ssh", true, [words = wordsOf(ssh)](const std::string& command) {
                        auto all = words;
                        all.insert(all.begin() + 1, "-tt");
                        all.push_back(command);
                        return std::make_unique<TerminalPeer>(all, std::vector<std::string>{},
                                                              Modes::ordinary);
                      }});
  result.push_back(
      {"tmux", false, [&tmux](const std::string& command) {
         return std::make_unique<TerminalPeer>(
             std::vector<std::string>{"tmux", "-L", "bench", "-f", "/dev/null", "new-session", command},
             std::vector<std::string>{"TMUX_TMPDIR=" + tmux.path(), "TMUX=", "TERM=xterm-256color"},
             Modes::ordinary);
       }});
  return result;
}

// Time from a key to its echo by a program in raw mode.
void measureKeys(const std::vector<Road>& ways) {
  constexpr int presses = 500;
  fmt::print("key to echo, {} presses, milliseconds: median / 95th percentile\n", presses);
  for (const auto& road : ways) {
    const auto peer = road.open("stty raw -echo; printf ready; exec cat");
    bool isReady = false;
    peer->readUntil("ready", isReady);
    peer->drain(300ms);
    std::vector<double> times;
    for (int press = 0; isReady && press < presses; ++press) {
      const std::string key(1, press % 2 == 0 ? '#' : '%');
      const auto begin = Clock::now();
      peer->type(key);
      bool isThere = false;
      peer->readUntil(key, isThere);
      if (!isThere) break;
      times.push_back(secondsBetween(begin, Clock::now()) * 1e3);
      peer->drain(8ms);
    }
    fmt::print("  {:<22} {:.2f} / {:.2f}{}\n", road.name, median(times), quantile(times, 0.95),
               times.size() == presses ? "" : "  SOME ARE MISSING");
  }
}

std::string floodCommand(const Options& options) {
  return fmt::format(
      "stty raw -echo; printf ready; head -c1 >/dev/null; '{}' --generate {}; printf end; head -c1",
      options.self, options.floodSize());
}

// Megabytes a second; 0 if a byte is missing or wrong.
template <class Read>
double takeFlood(std::uint64_t size, Read read) {
  CounterPattern pattern;
  const auto begin = Clock::now();
  while (pattern.position() < size) {
    const std::span<const std::uint8_t> part = read();
    if (part.empty()) return 0;
    const auto rest =
        static_cast<std::size_t>(std::min<std::uint64_t>(size - pattern.position(), part.size()));
    if (!pattern.matches(part.first(rest))) return 0;
  }
  return static_cast<double>(size) / 1e6 / secondsBetween(begin, Clock::now());
}

struct FloodResult {
  double speed = 0;  // megabytes a second until the end was seen; 0 if it was not
  bool isComplete = false;
};

// A terminal that cannot keep up is shown the end but not everything before it.
FloodResult floodOver(const Options& options, const Road& road) {
  const auto peer = road.open(floodCommand(options));
  bool isReady = false;
  peer->readUntil("ready", isReady);
  if (!isReady) return {};
  peer->drain(100ms);
  CounterPattern pattern;
  bool isComplete = road.isTransparent;
  std::string tail;
  const auto begin = Clock::now();
  peer->type("g");
  while (!tail.ends_with("end") && tail.find("end\x1b") == std::string::npos) {
    const auto part = peer->read(20s);
    if (part.empty()) return {};
    const auto rest = static_cast<std::size_t>(
        std::min<std::uint64_t>(options.floodSize() - pattern.position(), part.size()));
    isComplete = isComplete && pattern.matches(part.first(rest));
    tail.append(
        reinterpret_cast<const char*>(part.data()) + (part.size() - std::min<std::size_t>(part.size(), 256)),
        std::min<std::size_t>(part.size(), 256));
    if (tail.size() > 512) tail.erase(0, tail.size() - 512);
  }
  return {static_cast<double>(options.floodSize()) / 1e6 / secondsBetween(begin, Clock::now()),
          isComplete && pattern.position() == options.floodSize()};
}

double floodToSubscriber(const Options& options, const HostSide& host) {
  StreamClient client(host.port(), host.pin(), host.spawn(floodCommand(options)));
  if (!client.readUntil("ready")) return 0;
  client.type("g");
  return takeFlood(options.floodSize(), [&] { return client.read(10s); });
}

void measureFlood(const Options& options, const HostSide& host, const std::vector<Road>& ways) {
  fmt::print("flood of {} MB, every byte checked, {} rounds, MB/s (0: bytes were missing)\n",
             options.megabytes, options.rounds);
  std::vector<double> bare;
  std::vector<double> subscribed;
  std::vector<double> ratios;
  for (int round = 0; round < options.rounds; ++round) {
    const auto own = floodOver(options, ways.front());
    bare.push_back(own.isComplete ? own.speed : 0);
    subscribed.push_back(floodToSubscriber(options, host));
    ratios.push_back(subscribed.back() / bare.back());
    fmt::print("  round {}: plain loop {:.0f}, host, TCP and a subscribed client {:.0f}: {:.2f}\n", round + 1,
               bare.back(), subscribed.back(), ratios.back());
  }
  fmt::print("  median: plain loop {:.0f}, subscribed {:.0f}, ratio {:.2f}\n", median(bare),
             median(subscribed), median(ratios));
  for (std::size_t index = 1; index < ways.size(); ++index) {
    std::vector<double> speeds;
    int complete = 0;
    for (int round = 0; round < options.rounds; ++round) {
      const auto result = floodOver(options, ways[index]);
      speeds.push_back(result.speed);
      complete += result.isComplete ? 1 : 0;
    }
    fmt::print("  {:<22} {:.0f} until the end was shown; complete in {} of {} rounds\n", ways[index].name,
               median(speeds), complete, options.rounds);
  }
}

void measureInterrupt(const Options& options, const HostSide& host, const Road& road) {
  constexpr int interrupts = 15;
  std::vector<double> acted;
  std::vector<double> quiet;
  const auto path = host.folder() + "/interrupted";
  for (int count = 0; count < interrupts; ++count) {
    const auto peer = road.open(fmt::format("'{}' --until-interrupted '{}'; exec cat", options.self, path));
    bool isFlooding = false;
    peer->readUntil("0000000", isFlooding);
    for (const auto end = Clock::now() + 500ms; Clock::now() < end;) peer->read(10ms);
    const auto begin = Clock::now();
    peer->type("\x03");
    auto last = begin;
    while (!peer->read(300ms).empty()) last = Clock::now();
    std::int64_t nanoseconds = 0;
    std::ifstream(path) >> nanoseconds;
    std::filesystem::remove(path);
    acted.push_back(
        nanoseconds == 0 ? 1e9 : static_cast<double>(nanoseconds - begin.time_since_epoch() / 1ns) / 1e6);
    quiet.push_back(secondsBetween(begin, last) * 1e3);
  }
  fmt::print(
      "Ctrl-C in a flood, {}: {} times, milliseconds: reaches the program after {:.1f} (worst {:.1f}), the "
      "screen is quiet after {:.1f} (worst {:.1f})\n",
      road.name, interrupts, median(acted), quantile(acted, 1), median(quiet), quantile(quiet, 1));
}

void measureMemory(const Options& options, const HostSide& host) {
  const auto id = host.spawn(floodCommand(options));
  StreamClient sleeper(host.port(), host.pin(), id);
  StreamClient reader(host.port(), host.pin(), id);
  if (!reader.readUntil("ready") || !sleeper.readUntil("ready")) return;
  host.resetPeak();
  const double before = host.residentMegabytes();
  reader.type("g");
  const double speed = takeFlood(options.floodSize(), [&] { return reader.read(10s); });
  fmt::print(
      "flood of {} MB with a client that does not read: the other receives {} ({:.0f} MB/s); the host's "
      "memory "
      "grows from {:.1f} to {:.1f} MB at most\n",
      options.megabytes, speed > 0 ? "every byte" : "NOT EVERYTHING", speed, before, host.peakMegabytes());
}

int run(const Options& options) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const HostSide host(options.host, options.client);
  const TmuxFolder tmux(host.folder());
  const auto ways = roads(host, tmux);
  const auto isWanted = [&](std::string_view part) { return options.only.empty() || options.only == part; };
  if (isWanted("keys")) measureKeys(ways);
  if (isWanted("flood")) measureFlood(options, host, ways);
  if (isWanted("interrupt"))
    for (const auto& road : ways)
      if (road.isTransparent) measureInterrupt(options, host, road);
  if (isWanted("memory")) measureMemory(options, host);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() == 2 && words[0] == "--generate") return generate(std::stoull(words[1]));
  if (words.size() == 2 && words[0] == "--until-interrupted")
    return generateUntilInterrupted(words[1].c_str());
  if (words.size() < 2) {
    fmt::print(stderr, "usage: agent_path_bench HOST CLIENT [--megabytes N] [--rounds N] [--only PART]\n");
    return 2;
  }
  Options options{.host = words[0], .client = words[1], .self = std::filesystem::canonical("/proc/self/exe")};
  for (std::size_t index = 2; index + 1 < words.size(); index += 2) {
    if (words[index] == "--megabytes") options.megabytes = std::stoull(words[index + 1]);
    if (words[index] == "--rounds") options.rounds = std::stoi(words[index + 1]);
    if (words[index] == "--only") options.only = words[index + 1];
  }
  return run(options);
}
