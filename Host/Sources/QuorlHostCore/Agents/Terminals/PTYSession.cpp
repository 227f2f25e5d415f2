// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/PTYSession.h>

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include <QuorlHostCore/Agents/Attention/AgentAttention.h>
#include <QuorlHostCore/Log/Log.h>

namespace quorl {

namespace {

constexpr Duration killDelay = std::chrono::seconds(3);
constexpr Duration repaintDelay = std::chrono::milliseconds(50);
constexpr std::uint8_t formFeed = 0x0c;

WireError wireErrorOf(const PseudoTerminalError& error) {
  switch (error.step) {
    case PseudoTerminalStep::openTerminal:
      return {.code = "agent.pty", .message = "openpty failed: " + error.error.description};
    case PseudoTerminalStep::spawn:
      return {.code = "agent.spawn", .message = "posix_spawn failed: " + error.error.description};
  }
  return {};
}

std::uint16_t clampedToUInt16(std::int64_t value) {
  return static_cast<std::uint16_t>(std::clamp<std::int64_t>(value, 0, 65'535));
}

}  // namespace

std::string PTYSession::expandTilde(const std::string& path, const std::string& homeDirectory) {
  if (path.empty() || path == "~") return homeDirectory;
  if (path.starts_with("~/")) return homeDirectory + path.substr(1);
  return path;
}

std::expected<std::shared_ptr<PTYSession>, WireError> PTYSession::spawn(Parameters parameters,
                                                                        Scheduler& scheduler,
                                                                        PseudoTerminals& terminals,
                                                                        const std::string& homeDirectory) {
  PseudoTerminalRequest request;
  request.command = parameters.command;
  request.workingDirectory = expandTilde(parameters.workingDirectory, homeDirectory);
  request.environment = {{"TERM", "xterm-256color"}, {"LANG", "en_US.UTF-8"}};
  for (const auto& [name, value] : parameters.env) request.environment[name] = value;
  std::expected<std::unique_ptr<PseudoTerminal>, PseudoTerminalError> terminal;
  scheduler.blocking([&] { terminal = terminals.spawn(request); });
  if (!terminal) return std::unexpected(wireErrorOf(terminal.error()));
  Log::agent.info(fmt::format("spawned pid {} [{}] in {}", (*terminal)->pid(), request.command,
                              request.workingDirectory));
  return std::make_shared<PTYSession>(std::move(parameters), scheduler, std::move(*terminal));
}

PTYSession::PTYSession(Parameters parameters, Scheduler& scheduler, std::unique_ptr<PseudoTerminal> terminal)
    : parameters_(std::move(parameters)),
      queue_(scheduler, "quorl.pty", QueueRank::service),
      terminal_(std::move(terminal)),
      ttyName_(terminal_->deviceName()),
      pid_(terminal_->pid()),
      machine_(parameters_.adapter, scheduler.now()),
      lastOutputDate_(scheduler.date()) {}

PTYSession::PTYSession(PTYSessionSnapshot snapshot, Scheduler& scheduler,
                       std::unique_ptr<PseudoTerminal> terminal)
    : parameters_{.id = snapshot.id,
                  .displayName = std::move(snapshot.displayName),
                  .command = std::move(snapshot.command),
                  .workingDirectory = std::move(snapshot.workingDirectory),
                  .env = {},
                  .adapter = snapshot.adapter},
      queue_(scheduler, "quorl.pty", QueueRank::service),
      terminal_(std::move(terminal)),
      ttyName_(std::move(snapshot.ttyName)),
      pid_(snapshot.pid),
      alternateScreen_(snapshot.isAlternateScreen, snapshot.scrollback),
      machine_(parameters_.adapter, snapshot.status, scheduler.now()),
      lastOutputDate_(snapshot.lastOutput),
      exitCode_(snapshot.exitCode) {
  TerminalModes modesAtBegin;
  modesAtBegin.follow(snapshot.modesAtBegin);
  modes_ = modesAtBegin;
  modes_.follow(snapshot.scrollback);
  scrollback_ = Scrollback(std::move(snapshot.scrollback), std::move(modesAtBegin));
  killDelay_ = snapshot.killDelay;
}

std::shared_ptr<PTYSession> PTYSession::restore(PTYSessionSnapshot snapshot, Scheduler& scheduler,
                                                PseudoTerminals& terminals) {
  std::unique_ptr<PseudoTerminal> terminal;
  if (auto released = std::exchange(snapshot.terminal, std::nullopt)) {
    auto adopted = terminals.adopt(std::move(*released));
    if (adopted) {
      terminal = std::move(*adopted);
    } else {
      Log::agent.error(fmt::format("agent {} was lost in the upgrade: {}", snapshot.displayName,
                                   adopted.error().description));
    }
  }
  if (!terminal && !snapshot.exitCode) {
    snapshot.exitCode = 0;
    snapshot.status.status = AgentStatus::exited;
  }
  return std::make_shared<PTYSession>(std::move(snapshot), scheduler, std::move(terminal));
}

PTYSessionSnapshot PTYSession::snapshot() const {
  const ByteView kept = scrollback_.contents();
  PTYSessionSnapshot snapshot{.id = parameters_.id,
                              .displayName = parameters_.displayName,
                              .command = parameters_.command,
                              .workingDirectory = parameters_.workingDirectory,
                              .adapter = parameters_.adapter,
                              .ttyName = ttyName_,
                              .pid = pid_,
                              .terminal = {},
                              .exitCode = exitCode_,
                              .scrollback = Bytes(kept.begin(), kept.end()),
                              .modesAtBegin = scrollback_.modesAtBegin().recreating(),
                              .isAlternateScreen = alternateScreen_.isInAlternateScreen(),
                              .lastOutput = lastOutputDate_,
                              .status = machine_.snapshot(queue_.now()),
                              .killDelay = {}};
  if (killTimer_.isPending()) snapshot.killDelay = std::max(killTime_ - queue_.now(), Duration::zero());
  return snapshot;
}

// Output that was read before the terminal is given up is on the queue by then, so that it is in the
// snapshot, which is taken in later work.
PTYSessionSnapshot PTYSession::release() {
  auto released = queue_.sync([this]() -> std::optional<ReleasedTerminal> {
    queue_.assertCurrent();
    if (!terminal_) return std::nullopt;
    return terminal_->release();
  });
  return queue_.sync([&] {
    queue_.assertCurrent();
    PTYSessionSnapshot result = snapshot();
    result.terminal = std::move(released);
    statusTimer_.cancel();
    killTimer_.cancel();
    repaintTimers_.clear();
    callbacks_ = {};
    return result;
  });
}

std::function<void()> PTYSession::weakly(std::function<void(PTYSession&)> work) {
  return [weak = weak_from_this(), work = std::move(work)] {
    if (const auto self = weak.lock()) work(*self);
  };
}

void PTYSession::startMonitoring(Callbacks callbacks) {
  queue_.sync([&] {
    queue_.assertCurrent();
    callbacks_ = std::move(callbacks);
    armStatusTimer();
    if (!terminal_) return;
    if (const auto delay = std::exchange(killDelay_, std::nullopt)) killAfter(*delay);
    const auto weak = weak_from_this();
    terminal_->start(queue_, {.output =
                                  [weak](const SharedBytes& output) {
                                    const auto self = weak.lock();
                                    if (!self) return;
                                    self->queue_.assertCurrent();
                                    self->receive(output);
                                  },
                              // The exit comes later; until then the row does not change.
                              .endOfOutput = [] {},
                              .exited =
                                  [weak](ProcessExit exit) {
                                    const auto self = weak.lock();
                                    if (!self) return;
                                    self->queue_.assertCurrent();
                                    self->finish(exit);
                                  }});
  });
}

void PTYSession::receive(const SharedBytes& output) {
  lastOutputDate_ = queue_.scheduler().date();
  alternateScreen_.update(*output);
  modes_.follow(*output);
  scrollback_.append(*output);
  carryOut(machine_.receiveOutput(*output, queue_.now()));
  if (callbacks_.onOutput) callbacks_.onOutput(output);
}

void PTYSession::finish(ProcessExit exit) {
  if (exitCode_) return;
  exitCode_ = exit.status;
  killTimer_.cancel();
  carryOut(machine_.exit());
  Log::agent.info(fmt::format("agent {} exited", parameters_.displayName));
}

void PTYSession::evaluateStatus() {
  armedTick_.reset();
  carryOut(machine_.tick(scrollback_.tail(AgentAttention::tailLength), queue_.now()));
}

void PTYSession::carryOut(const AgentStatusMachine::Actions& actions) {
  if (actions.statusChange && callbacks_.onStatusChange) callbacks_.onStatusChange(*actions.statusChange);
  if (actions.attentionBody && callbacks_.onAttention)
    callbacks_.onAttention(parameters_.displayName, *actions.attentionBody);
  armStatusTimer();
}

// A timer for an earlier tick is kept: that tick changes nothing and arms the right one, which costs less
// than a new timer for each piece of output.
void PTYSession::armStatusTimer() {
  const auto next = machine_.nextTick();
  if (!next) {
    statusTimer_.cancel();
    armedTick_.reset();
    return;
  }
  if (armedTick_ && *armedTick_ <= *next) return;
  armedTick_ = next;
  statusTimer_ = queue_.after(*next - queue_.now(), weakly([](PTYSession& self) {
    self.queue_.assertCurrent();
    self.evaluateStatus();
  }));
}

void PTYSession::write(Bytes data) {
  queue_.async([weak = weak_from_this(), data = std::move(data)] {
    const auto self = weak.lock();
    if (!self) return;
    self->queue_.assertCurrent();
    if (!self->exitCode_) self->terminal_->write(data);
  });
}

void PTYSession::resize(std::int64_t columns, std::int64_t rows) {
  queue_.async(weakly([columns, rows](PTYSession& self) {
    self.queue_.assertCurrent();
    if (self.exitCode_) return;
    self.terminal_->resize(clampedToUInt16(columns), clampedToUInt16(rows));
    if (!self.alternateScreen_.isInAlternateScreen()) return;
    std::erase_if(self.repaintTimers_, [](const Timer& timer) { return !timer.isPending(); });
    self.repaintTimers_.push_back(self.queue_.after(repaintDelay, self.weakly([](PTYSession& later) {
      later.queue_.assertCurrent();
      later.askForRepaint();
    })));
  }));
}

void PTYSession::terminate() {
  queue_.async(weakly([](PTYSession& self) {
    self.queue_.assertCurrent();
    if (self.exitCode_) return;
    self.terminal_->sendTerminate();
    if (!self.killTimer_.isPending()) self.killAfter(killDelay);  // a second request does not delay the end
  }));
}

void PTYSession::killAfter(Duration delay) {
  killTime_ = queue_.now() + delay;
  killTimer_ = queue_.after(delay, weakly([](PTYSession& later) {
                              later.queue_.assertCurrent();
                              if (!later.exitCode_) later.terminal_->sendKill();
                            }));
}

void PTYSession::askForRepaint() {
  queue_.assertCurrent();
  if (!exitCode_) terminal_->write(ByteView(&formFeed, 1));
}

PTYSession::Screen PTYSession::screen() const {
  queue_.assertCurrent();
  const bool isAlternate = alternateScreen_.isInAlternateScreen();
  return {.scrollback = scrollback_.contents(),
          .isAlternate = isAlternate,
          .modes = isAlternate ? modes_.setting() : scrollback_.modesAtBegin().setting()};
}

AgentStatus PTYSession::status() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return machine_.status();
  });
}

PTYSession::Summary PTYSession::summary() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return Summary{.status = machine_.status(),
                   .lastActivity = lastOutputDate_,
                   .previewLine = terminalPreviewLine(scrollback_.contents())};
  });
}

Date PTYSession::lastActivity() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return lastOutputDate_;
  });
}

Bytes PTYSession::scrollback() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    const ByteView all = scrollback_.contents();
    return Bytes(all.begin(), all.end());
  });
}

bool PTYSession::isAlternateScreen() const {
  return queue_.sync([this] {
    queue_.assertCurrent();
    return alternateScreen_.isInAlternateScreen();
  });
}

}  // namespace quorl
