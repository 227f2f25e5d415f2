// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <QuorlHostCore/Ports/PseudoTerminal.h>

namespace quorl::test {

/// The child's side of one fake terminal: records what the host did, and acts as the child.
struct FakeChild {
  PseudoTerminalRequest request;
  std::string deviceName;
  std::int32_t pid = 0;

  std::string written;                                         // what the host typed
  std::vector<std::pair<std::uint16_t, std::uint16_t>> sizes;  // columns, rows
  int terminations = 0;
  int kills = 0;
  bool isReleased = false;  // the host's side was destroyed
  bool exitsAtOnce = false;
  bool hasExited = false;
  std::string unwritten;   // given out with a released terminal
  bool isGivenUp = false;  // released and not yet adopted and started
  std::string printedMeanwhile;
  std::optional<ReleasedTerminal> adoptedWith;

  /// Prints in pieces as the port specifies, on the session's queue, later.
  void print(std::string_view text);
  void closeTerminal();
  void exit(std::int32_t status);

  std::optional<SerialQueue> queue;
  PseudoTerminal::Handlers handlers;
};

/// Terminals without processes. Pids count from 4001, devices are "/dev/pts/1" and so on.
///
/// *Queue*: for the simulation's one thread.
class FakePseudoTerminals final : public PseudoTerminals {
 public:
  std::expected<std::unique_ptr<PseudoTerminal>, PseudoTerminalError> spawn(
      const PseudoTerminalRequest& request) override;
  std::expected<std::unique_ptr<PseudoTerminal>, PortError> adopt(ReleasedTerminal released) override;

  /// The error of the next spawn.
  std::optional<PseudoTerminalError> failure;
  std::function<void(FakeChild&)> whenSpawned = [](FakeChild&) {};
  std::vector<std::shared_ptr<FakeChild>> children;

  FakeChild& last() { return *children.back(); }
};

}  // namespace quorl::test
