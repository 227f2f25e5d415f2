// SPDX-License-Identifier: GPL-3.0-or-later
// One scan of the machine: 500 processes on a terminal, and 2,000 session files of 50 MB each for each of two
// tools.
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <QuorlHostCore/Agents/Discovery/ClaudeCodeDiscovery.h>
#include <QuorlHostCore/Agents/Discovery/CodexDiscovery.h>
#include <QuorlHostCore/Agents/Discovery/ProcessDiscovery.h>
#include <QuorlHostCore/Agents/Terminals/SnapshotDiff.h>
#include <QuorlHostLinux/Agents/HomeSessionFiles.h>
#include <QuorlHostLinux/Agents/ProcProcessTable.h>

namespace {

namespace fs = std::filesystem;
using namespace quorl;

constexpr int processCount = 500;
constexpr int sessionCount = 2000;
constexpr std::uintmax_t sessionSize = 50'000'000;

/// A home folder with the session files of both tools, sparse except for the line that matters.
class Home {
 public:
  Home() {
    std::string pattern = (fs::temp_directory_path() / "bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    path_ = pattern;
    for (int i = 0; i < sessionCount; ++i) {
      const std::string id = fmt::format("00000000-0000-4000-8000-{:012}.jsonl", i);
      writeSparse(path_ + "/.claude/projects/-srv-project-" + std::to_string(i % 50) + "/" + id,
                  "\n{\"type\":\"summary\",\"summary\":\"One of many\"}\n", Place::end);
      writeSparse(path_ + "/.codex/sessions/2025/" + std::to_string(i % 28) + "/" + id,
                  "{\"payload\":{\"id\":\"" + std::to_string(i) + "\",\"cwd\":\"/srv\"}}\n",
                  Place::beginning);
    }
  }
  ~Home() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  enum class Place { beginning, end };

  static void writeSparse(const fs::path& path, const std::string& text, Place place) {
    fs::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    if (place == Place::end) out.seekp(static_cast<std::streamoff>(sessionSize - text.size()));
    out << text;
    out.close();
    fs::resize_file(path, sessionSize);
  }

  std::string path_;
};

/// Processes on one terminal, all in the process group of the first.
class Crowd {
 public:
  Crowd() {
    leader_ = forkpty(&master_, nullptr, nullptr, nullptr);
    if (leader_ == 0) {
      for (int i = 1; i < processCount; ++i)
        if (fork() == 0) wait();
      static_cast<void>(!write(STDOUT_FILENO, "!", 1));
      wait();
    }
    char ready = 0;
    if (leader_ < 0 || read(master_, &ready, 1) != 1) std::abort();
  }
  ~Crowd() {
    kill(-leader_, SIGKILL);
    waitpid(leader_, nullptr, 0);
    close(master_);
  }

 private:
  [[noreturn]] static void wait() {
    for (;;) pause();
  }

  int master_ = -1;
  pid_t leader_ = -1;
};

void scanProcesses(benchmark::State& state) {
  const Crowd crowd;
  const ProcessDiscovery discovery(std::make_shared<ProcProcessTable>());
  for (auto _ : state) benchmark::DoNotOptimize(discovery.scan({}, {}));
  state.counters["processes"] = static_cast<double>(ProcProcessTable().processes().size());
}
BENCHMARK(scanProcesses)->Unit(benchmark::kMillisecond);

void firstRefresh(benchmark::State& state) {
  const Home home;
  const auto files = std::make_shared<HomeSessionFiles>(home.path());
  std::size_t found = 0;
  for (auto _ : state)
    found = ClaudeCodeDiscovery(files).scan(200, 40).size() + CodexDiscovery(files).scan(200).size();
  state.counters["sessions"] = static_cast<double>(found);
}
BENCHMARK(firstRefresh)->Unit(benchmark::kMillisecond);

void refreshWithoutChange(benchmark::State& state) {
  const Home home;
  const auto files = std::make_shared<HomeSessionFiles>(home.path());
  ClaudeCodeDiscovery claude(files);
  CodexDiscovery codex(files);
  std::size_t found = claude.scan(200, 40).size() + codex.scan(200).size();
  for (auto _ : state) found = claude.scan(200, 40).size() + codex.scan(200).size();
  state.counters["sessions"] = static_cast<double>(found);
}
BENCHMARK(refreshWithoutChange)->Unit(benchmark::kMillisecond);

// The worst case of a screen: lines that nearly repeat.
void compareScreens(benchmark::State& state) {
  std::string line(200, 'a');
  std::string previous;
  for (int i = 0; i < 511; ++i) previous += line + "\n";
  const std::string current = previous + "b";
  previous += "c";
  for (auto _ : state) benchmark::DoNotOptimize(SnapshotDiff::newTail(previous, current));
}
BENCHMARK(compareScreens)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
