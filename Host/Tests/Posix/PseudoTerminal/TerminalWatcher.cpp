// SPDX-License-Identifier: GPL-3.0-or-later
#include "TerminalWatcher.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace quorl::test {

namespace {

constexpr auto deadline = std::chrono::seconds(20);

}  // namespace

TerminalWatcher::TerminalWatcher(PoolScheduler& pool, PosixPseudoTerminals& terminals,
                                 const std::string& command, std::map<std::string, std::string> environment,
                                 std::string directory)
    : queue_(pool, "test.terminal", QueueRank::service) {
  PseudoTerminalRequest request;
  request.command = command;
  request.workingDirectory = std::move(directory);
  request.environment = std::move(environment);
  auto spawned = terminals.spawn(request);
  EXPECT_TRUE(spawned.has_value()) << spawned.error().error.description;
  if (!spawned) return;
  start(std::move(*spawned));
}

TerminalWatcher::TerminalWatcher(PoolScheduler& pool, PosixPseudoTerminals& terminals,
                                 ReleasedTerminal released)
    : queue_(pool, "test.terminal", QueueRank::service) {
  auto adopted = terminals.adopt(std::move(released));
  EXPECT_TRUE(adopted.has_value()) << adopted.error().description;
  if (adopted) start(std::move(*adopted));
}

void TerminalWatcher::start(std::unique_ptr<PseudoTerminal> terminal) {
  terminal_ = std::move(terminal);
  queue_.sync([this] {
    terminal_->start(queue_, {.output =
                                  [this](const SharedBytes& bytes) {
                                    std::lock_guard lock(mutex_);
                                    heardAfterExit_ = heardAfterExit_ || exitStatus_.has_value();
                                    output_ += textOf(*bytes);
                                    largestPiece_ = std::max(largestPiece_, bytes->size());
                                    changed_.notify_all();
                                  },
                              .endOfOutput =
                                  [this] {
                                    std::lock_guard lock(mutex_);
                                    hasEnded_ = true;
                                    changed_.notify_all();
                                  },
                              .exited =
                                  [this](ProcessExit exit) {
                                    std::lock_guard lock(mutex_);
                                    heardAfterExit_ = heardAfterExit_ || exitStatus_.has_value();
                                    exitStatus_ = exit.status;
                                    changed_.notify_all();
                                  }});
  });
}

TerminalWatcher::~TerminalWatcher() {
  drop();
}

void TerminalWatcher::type(std::string_view text) {
  queue_.sync([&] { terminal_->write(viewOf(text)); });
}

std::optional<ReleasedTerminal> TerminalWatcher::release() {
  auto released = queue_.sync([this] { return terminal_->release(); });
  queue_.sync([] {});
  return released;
}

void TerminalWatcher::drop() {
  queue_.sync([this] { terminal_.reset(); });
}

bool TerminalWatcher::waitUntil(const std::function<bool(const TerminalWatcher&)>& condition) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, deadline, [&] { return condition(*this); });
}

bool TerminalWatcher::waitForText(const std::string& text) {
  return waitUntil([&](const TerminalWatcher& self) { return self.output_.find(text) != std::string::npos; });
}

bool TerminalWatcher::waitForExit() {
  return waitUntil([](const TerminalWatcher& self) { return self.exitStatus_.has_value(); });
}

bool TerminalWatcher::waitForEndOfOutput() {
  return waitUntil([](const TerminalWatcher& self) { return self.hasEnded_; });
}

std::string TerminalWatcher::output() const {
  std::lock_guard lock(mutex_);
  return output_;
}

std::optional<std::int32_t> TerminalWatcher::exitStatus() const {
  std::lock_guard lock(mutex_);
  return exitStatus_;
}

std::size_t TerminalWatcher::largestPiece() const {
  std::lock_guard lock(mutex_);
  return largestPiece_;
}

bool TerminalWatcher::heardAfterExit() const {
  std::lock_guard lock(mutex_);
  return heardAfterExit_;
}

std::size_t openDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// proc(5): the parent is the fourth field of "stat", the second after the command's closing bracket.
std::size_t unreapedChildren() {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream file(entry.path() / "stat");
    std::string line;
    if (!std::getline(file, line)) continue;
    const auto bracket = line.rfind(") ");
    if (bracket == std::string::npos || line.size() < bracket + 5) continue;
    if (std::stoi(line.substr(bracket + 4)) == ::getpid()) ++count;
  }
  return count;
}

}  // namespace quorl::test
