// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include <QuorlHostCore/Ports/PseudoTerminal.h>

namespace quorl {

/// Terminals of the system, with real children. One thread watches them all; it sleeps while nothing happens.
///
/// *Queue*: any. *Ownership*: its terminals keep what they need of it alive.
/// *Lifetime*: the thread ends with the last of this and its terminals; children that were killed by then are
/// reaped, with a bound on the wait. Not destroyed from a terminal's callback of the last terminal.
class PosixPseudoTerminals final : public PseudoTerminals {
 public:
  /// `shell`: what runs the commands; by default chosen for the user.
  explicit PosixPseudoTerminals(std::string shell = {});
  ~PosixPseudoTerminals() override;

  std::expected<std::unique_ptr<PseudoTerminal>, PseudoTerminalError> spawn(
      const PseudoTerminalRequest& request) override;

 private:
  class Watcher;

  const std::string shell_;
  const std::shared_ptr<Watcher> watcher_;
};

}  // namespace quorl
