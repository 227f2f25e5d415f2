// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <QuorlHostCore/Concurrency/SerialQueue.h>
#include <QuorlHostCore/Ports/TerminalScripting.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Protocol/Handshake.h>

namespace quorl {

enum class TerminalBridgeUse : std::uint8_t { disabled, enabled };

/// Reads and types into the user's terminal tabs, each named by its terminal device. The process in a tab
/// stays where it is.
///
/// *Queue*: any thread; "quorl.terminalbridge" guards one flag.
/// *Blocking*: every operation waits for the terminal on the caller's queue (of a rank below `store`), as
/// blocking work.
/// *Ownership*: shares the terminals.
/// *Lifetime*: the registry's.
class TerminalBridge {
 public:
  TerminalBridge(Scheduler& scheduler, std::shared_ptr<TerminalScripting> terminals, TerminalBridgeUse use);

  /// Called once in the bridge's life, on the caller's queue, if the user has not permitted the host to
  /// script a terminal. Set while its owner is constructed.
  std::function<void(const WireError&)> onError;

  /// If disabled, every operation does nothing and returns nothing.
  bool enabled() const { return use_ == TerminalBridgeUse::enabled; }

  std::map<std::string, TerminalKind> mapTerminals();
  /// Empty if the tab is gone; nothing if it could not be read.
  std::optional<std::string> readContents(const std::string& tty, TerminalKind kind);
  void sendText(const std::string& tty, TerminalKind kind, const std::string& text,
                TextSubmission submission);
  void sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes);

 private:
  bool canReach(TerminalKind kind) const { return enabled() && kind != TerminalKind::unknown; }
  void report(const TerminalScripting::Failure& failure);

  const std::shared_ptr<TerminalScripting> terminals_;
  const TerminalBridgeUse use_;
  const TerminalScripting::Report report_;
  SerialQueue queue_;
  bool authErrorReported_ QUORL_GUARDED_BY(queue_) = false;
};

}  // namespace quorl
