// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/PoolScheduler.h>
#include <QuorlHostPosix/PosixPseudoTerminals.h>

namespace quorl::test {

/// A real terminal with a real child, and everything it has reported.
class TerminalWatcher {
 public:
  TerminalWatcher(PoolScheduler& pool, PosixPseudoTerminals& terminals, const std::string& command,
                  std::map<std::string, std::string> environment = {}, std::string directory = "/");
  /// Adopts a released terminal.
  TerminalWatcher(PoolScheduler& pool, PosixPseudoTerminals& terminals, ReleasedTerminal released);
  ~TerminalWatcher();

  PseudoTerminal& terminal() { return *terminal_; }
  void type(std::string_view text);
  /// Nothing if the child was reaped. All output that was read has been recorded.
  std::optional<ReleasedTerminal> release();
  /// Destroys the terminal, and with it the child.
  void drop();

  /// Each waits for its condition with a deadline, and returns whether it was met.
  bool waitForText(const std::string& text);
  bool waitForExit();
  bool waitForEndOfOutput();
  bool waitUntil(const std::function<bool(const TerminalWatcher&)>& condition);

  /// For a condition of `waitUntil`.
  std::size_t size() const { return output_.size(); }
  bool endsWith(const std::string& text) const { return output_.ends_with(text); }

  std::string output() const;
  std::optional<std::int32_t> exitStatus() const;
  std::size_t largestPiece() const;
  bool heardAfterExit() const;

 private:
  void start(std::unique_ptr<PseudoTerminal> terminal);

  const SerialQueue queue_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::string output_;
  std::size_t largestPiece_ = 0;
  bool hasEnded_ = false;
  bool heardAfterExit_ = false;
  std::optional<std::int32_t> exitStatus_;
  std::unique_ptr<PseudoTerminal> terminal_;
};

/// Descriptors that this process has open.
std::size_t openDescriptors();
/// Children of this process that have not been waited for.
std::size_t unreapedChildren();

}  // namespace quorl::test
