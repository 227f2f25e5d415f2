// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/PosixPseudoTerminals.h>

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>

#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include <QuorlHostPosix/PseudoTerminalChild.h>
#include <QuorlHostPosix/PseudoTerminalPoller.h>
#include <QuorlHostPosix/PseudoTerminalSpawn.h>
#include <QuorlHostPosix/SystemError.h>

namespace quorl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t pieceSize = 65'536;
// The pause after a burst. Long enough for a piece of some tens of kilobytes at full speed. If it were much
// longer, the 64 KiB of the kernel's buffer would fill up and the program would wait: at 300 microseconds a
// flood slows down.
constexpr auto gatherTime = std::chrono::microseconds(120);
// The wait for the last killed children. One that hangs in the kernel is left to the system.
constexpr auto maxReapTime = std::chrono::seconds(2);

}  // namespace

class PosixPseudoTerminals::Watcher {
 public:
  Watcher() : poller_(std::make_shared<PseudoTerminalPoller>()), thread_([this] { run(); }) {}
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;
  ~Watcher() {
    {
      std::lock_guard lock(mutex_);
      isEnding_ = true;
    }
    poller_->wake();
    thread_.join();
  }

  std::shared_ptr<PseudoTerminalChild> add(SpawnedTerminal spawned, Descriptor process,
                                           Bytes unwritten = {}) {
    std::lock_guard lock(mutex_);
    const std::uint64_t token = ++lastToken_;
    auto child = std::make_shared<PseudoTerminalChild>(std::move(spawned), std::move(process), token, poller_,
                                                       std::move(unwritten));
    children_.emplace(token, child);
    return child;
  }

  /// The child was released: it is not waited for here.
  void forget(const PseudoTerminalChild& child) {
    std::lock_guard lock(mutex_);
    children_.erase(child.token());
  }

 private:
  struct LaterRead {
    Clock::time_point when;
    std::shared_ptr<PseudoTerminalChild> child;
  };

  void run() {
    std::optional<Clock::time_point> deadline;
    for (;;) {
      {
        std::lock_guard lock(mutex_);
        if (isEnding_ && children_.empty()) return;
        if (isEnding_ && !deadline) deadline = Clock::now() + maxReapTime;
      }
      if (deadline && Clock::now() >= *deadline) return;
      for (const auto& event : poller_->wait(timeToNextRead(deadline))) handle(event);
      readWhatIsDue();
    }
  }

  std::optional<std::chrono::nanoseconds> timeToNextRead(std::optional<Clock::time_point> next) const {
    for (const LaterRead& read : laterReads_)
      if (!next || read.when < *next) next = read.when;
    if (!next) return std::nullopt;
    return std::max<std::chrono::nanoseconds>(*next - Clock::now(), std::chrono::nanoseconds(0));
  }

  std::shared_ptr<PseudoTerminalChild> find(std::uint64_t token) {
    std::lock_guard lock(mutex_);
    const auto found = children_.find(token);
    return found != children_.end() ? found->second : nullptr;
  }

  void handle(const PseudoTerminalPoller::Event& event) {
    const auto child = find(event.token);
    if (!child) return;
    switch (event.source) {
      case PseudoTerminalPoller::Source::terminal:
        readOn(child, child->handleTerminalEvent(scratch_));
        return;
      case PseudoTerminalPoller::Source::process:
        if (!child->reap(scratch_)) return;
        std::lock_guard lock(mutex_);
        children_.erase(event.token);
        return;
    }
  }

  void readOn(const std::shared_ptr<PseudoTerminalChild>& child, PseudoTerminalChild::Next next) {
    switch (next) {
      case PseudoTerminalChild::Next::waitForEvent:
        return;
      case PseudoTerminalChild::Next::readAgainSoon:
        laterReads_.push_back({Clock::now() + gatherTime, child});
        return;
      case PseudoTerminalChild::Next::readAgainAtOnce:
        laterReads_.push_back({Clock::now(), child});
        return;
    }
  }

  // One piece of each, so that a flood on one terminal does not delay the others.
  void readWhatIsDue() {
    const auto now = Clock::now();
    std::vector<LaterRead> dueReads;
    std::erase_if(laterReads_, [&](LaterRead& read) {
      if (read.when > now) return false;
      dueReads.push_back(std::move(read));
      return true;
    });
    for (const LaterRead& read : dueReads) readOn(read.child, read.child->readPiece(scratch_));
  }

  const std::shared_ptr<PseudoTerminalPoller> poller_;
  std::mutex mutex_;
  std::map<std::uint64_t, std::shared_ptr<PseudoTerminalChild>> children_;  // those not reaped
  std::uint64_t lastToken_ = 0;
  bool isEnding_ = false;
  std::vector<LaterRead> laterReads_;  // the watching thread's, as is `scratch_`
  Bytes scratch_ = Bytes(pieceSize);
  std::thread thread_;  // last: it uses all the above
};

// Keeps the watcher, so that a terminal may outlive the port that made it.
class PosixPseudoTerminals::Terminal final : public PseudoTerminal {
 public:
  Terminal(std::shared_ptr<PseudoTerminalChild> child, std::shared_ptr<Watcher> watcher)
      : watcher_(std::move(watcher)), child_(std::move(child)) {}
  ~Terminal() override { child_->abandon(); }

  const std::string& deviceName() const override { return child_->deviceName(); }
  std::int32_t pid() const override { return child_->pid(); }
  void start(SerialQueue queue, Handlers handlers) override {
    child_->start(std::move(queue), std::move(handlers));
  }
  void write(ByteView bytes) override { child_->write(bytes); }
  void resize(std::uint16_t columns, std::uint16_t rows) override { child_->resize(columns, rows); }
  void sendTerminate() override { child_->send(SIGTERM); }
  void sendKill() override { child_->send(SIGKILL); }
  std::optional<ReleasedTerminal> release() override {
    auto released = child_->release();
    if (released) watcher_->forget(*child_);
    return released;
  }

 private:
  const std::shared_ptr<Watcher> watcher_;
  const std::shared_ptr<PseudoTerminalChild> child_;
};

PosixPseudoTerminals::PosixPseudoTerminals(std::string shell, std::optional<std::uint64_t> descriptorLimit)
    : shell_(shell.empty() ? shellForAgents() : std::move(shell)),
      descriptorLimit_(descriptorLimit),
      watcher_(std::make_shared<Watcher>()) {}

PosixPseudoTerminals::~PosixPseudoTerminals() = default;

std::expected<std::unique_ptr<PseudoTerminal>, PseudoTerminalError> PosixPseudoTerminals::spawn(
    const PseudoTerminalRequest& request) {
  auto spawned = spawnOnTerminal(request, shell_, descriptorLimit_);
  if (!spawned) return std::unexpected(spawned.error());
  Descriptor process = PseudoTerminalPoller::openProcess(spawned->pid);
  if (!process.isOpen()) {
    const int error = errno;
    ::kill(spawned->pid, SIGKILL);
    ::waitpid(spawned->pid, nullptr, 0);
    return std::unexpected(PseudoTerminalError{PseudoTerminalStep::spawn, systemError(error)});
  }
  auto child = watcher_->add(std::move(*spawned), std::move(process));
  return std::make_unique<Terminal>(std::move(child), watcher_);
}

// A descriptor that is no longer this terminal's, or a process that is no child, is refused: the numbers come
// from outside this program image.
std::expected<std::unique_ptr<PseudoTerminal>, PortError> PosixPseudoTerminals::adopt(
    ReleasedTerminal released) {
  Descriptor master(released.handle);
  std::array<char, 128> name{};
  if (::ptsname_r(master.get(), name.data(), name.size()) != 0 || released.deviceName != name.data()) {
    master.release();
    return std::unexpected(systemError(ENOTTY));
  }
  siginfo_t info{};
  if (released.pid < 1 ||
      ::waitid(P_PID, static_cast<id_t>(released.pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0)
    return std::unexpected(systemError(ECHILD));
  Descriptor process = PseudoTerminalPoller::openProcess(released.pid);
  if (!process.isOpen()) return std::unexpected(systemError(errno));
  ::fcntl(master.get(), F_SETFD, FD_CLOEXEC);
  auto child = watcher_->add(
      {.master = std::move(master), .deviceName = std::move(released.deviceName), .pid = released.pid},
      std::move(process), std::move(released.unwritten));
  return std::make_unique<Terminal>(std::move(child), watcher_);
}

}  // namespace quorl
