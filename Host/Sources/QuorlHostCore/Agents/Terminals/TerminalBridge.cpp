// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostCore/Agents/Terminals/TerminalBridge.h>

#include <utility>

#include <QuorlHostCore/Log/Log.h>

namespace quorl {

TerminalBridge::TerminalBridge(Scheduler& scheduler, std::shared_ptr<TerminalScripting> terminals,
                               TerminalBridgeUse use)
    : terminals_(std::move(terminals)),
      use_(use),
      report_([this](const TerminalScripting::Failure& failure) { report(failure); }),
      queue_(scheduler, "quorl.terminalbridge", QueueRank::store) {}

std::map<std::string, TerminalKind> TerminalBridge::mapTerminals() {
  std::map<std::string, TerminalKind> result;
  if (!enabled()) return result;
  queue_.scheduler().blocking([&] { result = terminals_->mapTerminals(report_); });
  return result;
}

std::optional<std::string> TerminalBridge::readContents(const std::string& tty, TerminalKind kind) {
  std::optional<std::string> result;
  if (!canReach(kind)) return result;
  queue_.scheduler().blocking([&] { result = terminals_->readContents(tty, kind, report_); });
  return result;
}

void TerminalBridge::sendText(const std::string& tty, TerminalKind kind, const std::string& text,
                              TextSubmission submission) {
  if (!canReach(kind)) return;
  queue_.scheduler().blocking([&] { terminals_->sendText(tty, kind, text, submission, report_); });
}

void TerminalBridge::sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes) {
  if (!canReach(kind) || bytes.empty()) return;
  queue_.scheduler().blocking([&] { terminals_->sendRaw(tty, kind, bytes, report_); });
}

void TerminalBridge::report(const TerminalScripting::Failure& failure) {
  if (!failure.denied) {
    if (!failure.description.empty()) Log::agent.error(failure.description);
    return;
  }
  const bool isFirst = queue_.sync([this] {
    queue_.assertCurrent();
    return !std::exchange(authErrorReported_, true);
  });
  if (isFirst && onError)
    onError({.code = "agent.automation",
             .message =
                 "Allow Quorl to control Terminal in System Settings ▸ Privacy & Security ▸ Automation, "
                 "then try adopting again."});
}

}  // namespace quorl
