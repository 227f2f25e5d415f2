// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Ports/PseudoTerminal.h>

namespace quorl {

/// Terminals of the system, with real children. One thread watches them all; it sleeps while nothing happens.
///
/// *Queue*: any.
/// *Ownership*: its terminals keep the parts they need alive.
/// *Lifetime*: the thread ends with the last of this and its terminals; killed children are reaped before,
/// with a bound on the wait. Must not be destroyed in a callback of the last terminal.
class PosixPseudoTerminals final : public PseudoTerminals {
 public:
  /// `shell`: runs the commands; by default chosen for the user. `descriptorLimit`: the soft limit of open
  /// descriptors of a command; by default that of this process.
  explicit PosixPseudoTerminals(std::string shell = {}, std::optional<std::uint64_t> descriptorLimit = {});
  ~PosixPseudoTerminals() override;

  std::expected<std::unique_ptr<PseudoTerminal>, PseudoTerminalError> spawn(
      const PseudoTerminalRequest& request) override;
  std::expected<std::unique_ptr<PseudoTerminal>, PortError> adopt(ReleasedTerminal released) override;

 private:
  class Watcher;
  class Terminal;

  const std::string shell_;
  const std::optional<std::uint64_t> descriptorLimit_;
  const std::shared_ptr<Watcher> watcher_;
};

}  // namespace quorl
