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

/// Reads and types into the user's own terminal tabs, each named by its terminal device. The process in a tab
/// stays where it is.
///
/// *Queue*: every operation runs, and blocks, on the caller's queue (of a rank below `store`);
/// "quorl.terminalbridge" guards one flag. *Ownership*: shares the terminals.
class TerminalBridge {
 public:
  TerminalBridge(Scheduler& scheduler, std::shared_ptr<TerminalScripting> terminals, TerminalBridgeUse use);

  /// Told once in the bridge's life when the user has not allowed the host to script a terminal, on the queue
  /// of whoever asked. Set during construction of its owner.
  std::function<void(const WireError&)> onError;

  /// Disabled, every operation does nothing and gives nothing.
  bool enabled() const { return use_ == TerminalBridgeUse::enabled; }

  std::map<std::string, TerminalKind> mapTerminals();
  /// Empty when the tab is gone; nothing when it could not be read.
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
