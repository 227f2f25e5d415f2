// SPDX-License-Identifier: GPL-3.0-or-later
// The cost of supervising a terminal compared with a loop that only reads one, in the same process and in
// turn, then the cost of idle sessions:
//   terminal_bench [MEGABYTES]
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include <fmt/format.h>

#include <QuorlHostCore/Agents/Terminals/PTYSession.h>
#include <QuorlHostCore/Agents/Terminals/TerminalFanOut.h>
#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostPosix/PosixPseudoTerminals.h>
#include <QuorlHostPosix/PseudoTerminalSpawn.h>

#include <unistd.h>

namespace {

using namespace quorl;
using Clock = std::chrono::steady_clock;

constexpr int rounds = 7;
constexpr int idleSessions = 200;
constexpr auto idleTime = std::chrono::seconds(30);

const std::string rootFolder(1, '/');
const std::string idleCommand("echo ready; exec cat");

PTYSession::Parameters parametersFor(const std::string& command) {
  PTYSession::Parameters parameters;
  parameters.id = UUID::random();
  parameters.command = command;
  parameters.workingDirectory = rootFolder;
  return parameters;
}

std::string floodOf(int megabytes) {
  return fmt::format("yes 'the quick brown fox jumps over the lazy dog 0123456789' | head -c {}000000",
                     megabytes);
}

double secondsSince(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

double megabytesPerSecond(std::size_t bytes, Clock::time_point begin) {
  return static_cast<double>(bytes) / 1e6 / secondsSince(begin);
}

double bareLoop(const std::string& command) {
  PseudoTerminalRequest request;
  request.command = command;
  request.workingDirectory = rootFolder;
  auto spawned = spawnOnTerminal(request, "/bin/sh");
  if (!spawned) std::abort();
  std::vector<char> buffer(65'536);
  std::size_t total = 0;
  const auto begin = Clock::now();
  for (;;) {
    pollfd waiting{.fd = spawned->master.get(), .events = POLLIN, .revents = 0};
    ::poll(&waiting, 1, -1);
    const auto count = ::read(spawned->master.get(), buffer.data(), buffer.size());
    if (count <= 0) break;
    total += static_cast<std::size_t>(count);
  }
  ::waitpid(spawned->pid, nullptr, 0);
  return megabytesPerSecond(total, begin);
}

// Counts and discards every frame.
class CountingSink final : public StreamOutputSink {
 public:
  void sendControl(ControlMessage) override {}
  void sendVideo(std::uint32_t, VideoPacketFlags, std::uint64_t, SharedBytes, Droppable) override {}
  void sendFrame(OutgoingFrame frame, Droppable) override {
    bytes += frame.body().size();
    ++frames;
  }
  std::optional<PictureBudget> admitPicture(PictureRequest) override { return std::nullopt; }
  FileTurn admitFile(std::function<void()>) override { return {.kind = FileTurn::Kind::ended}; }
  DeliveredRate deliveredRate() const override { return nullptr; }
  bool isBackpressured() const override { return false; }

  std::atomic<std::size_t> bytes = 0;
  std::atomic<std::size_t> frames = 0;
};

struct Supervised {
  double speed = 0;
  std::size_t bytes = 0;
  std::size_t frames = 0;
};

Supervised supervised(PoolScheduler& pool, PosixPseudoTerminals& terminals, const std::string& command) {
  auto made = PTYSession::spawn(parametersFor(command), pool, terminals, rootFolder);
  if (!made) std::abort();
  const auto session = *made;
  auto fanOut = std::make_shared<TerminalFanOut>(
      session->id(), session->queue(),
      TerminalFanOut::Terminal{.view = [] { return TerminalFanOut::View(); }, .repaint = [] {}});
  auto sink = std::make_shared<CountingSink>();
  session->queue().sync(
      [&] { fanOut->join(sink, std::make_shared<SinkBacklog>(), TerminalFanOut::First::viewNow); });
  std::mutex mutex;
  std::condition_variable ended;
  bool hasEnded = false;
  const auto begin = Clock::now();
  session->startMonitoring({.onOutput = [fanOut](const SharedBytes& output) { fanOut->deliver(output); },
                            .onStatusChange =
                                [&](AgentStatus status) {
                                  if (status != AgentStatus::exited) return;
                                  std::lock_guard lock(mutex);
                                  hasEnded = true;
                                  ended.notify_all();
                                },
                            .onAttention = [](const std::string&, const std::string&) {}});
  std::unique_lock lock(mutex);
  ended.wait(lock, [&] { return hasEnded; });
  return {megabytesPerSecond(sink->bytes, begin), sink->bytes, sink->frames};
}

double median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

double processorSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double residentMegabytes() {
  std::ifstream file("/proc/self/statm");
  double whole = 0;
  double resident = 0;
  file >> whole >> resident;
  return resident * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

void measureFlood(PoolScheduler& pool, PosixPseudoTerminals& terminals, int megabytes) {
  const std::string command = floodOf(megabytes);
  std::vector<double> bare;
  std::vector<double> ours;
  std::vector<double> ratios;
  Supervised last;
  for (int round = 0; round < rounds; ++round) {
    bare.push_back(bareLoop(command));
    last = supervised(pool, terminals, command);
    ours.push_back(last.speed);
    ratios.push_back(last.speed / bare.back());
  }
  fmt::print(
      "flood of {} MB: plain loop {:.1f} MB/s, supervised {:.1f} MB/s, median ratio {:.2f}, {} bytes per "
      "frame\n",
      megabytes, median(bare), median(ours), median(ratios),
      last.bytes / std::max<std::size_t>(last.frames, 1));
}

void measureIdle(PoolScheduler& pool, PosixPseudoTerminals& terminals) {
  const double before = residentMegabytes();
  std::vector<std::shared_ptr<PTYSession>> sessions;
  for (int i = 0; i < idleSessions; ++i) {
    auto made = PTYSession::spawn(parametersFor(idleCommand), pool, terminals, rootFolder);
    if (!made) std::abort();
    (*made)->startMonitoring({});
    sessions.push_back(*made);
  }
  std::mutex mutex;
  std::condition_variable never;
  std::unique_lock lock(mutex);
  never.wait_for(lock, std::chrono::seconds(5));  // until all are quiet and evaluated
  const double usedBefore = processorSeconds();
  never.wait_for(lock, idleTime);
  const double used = processorSeconds() - usedBefore;
  fmt::print("{} idle sessions: {:.3f} % of a core, {:.2f} MB each\n", idleSessions,
             used / static_cast<double>(idleTime.count()) * 100,
             (residentMegabytes() - before) / idleSessions);
}

}  // namespace

int main(int argc, char** argv) {
  PoolScheduler pool;
  PosixPseudoTerminals terminals("/bin/sh");
  measureFlood(pool, terminals, argc > 1 ? std::atoi(argv[1]) : 100);
  if (argc <= 2) measureIdle(pool, terminals);
  return 0;
}
