// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostMac/Agents/AppleScriptTerminals.h>

#include <algorithm>
#include <utility>

#include <QuorlHostMac/Agents/AppleScriptBuilder.h>
#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl {

AppleScriptTerminals::AppleScriptTerminals(RunScript run, RunningBundleIDs runningBundleIDs)
    : run_(std::move(run)), runningBundleIDs_(std::move(runningBundleIDs)) {}

std::optional<std::string> AppleScriptTerminals::run(const std::string& script, const Report& report) {
  const Outcome outcome = run_(script);
  if (outcome.launchFailure) {
    report({.denied = false, .description = "osascript launch failed: " + *outcome.launchFailure});
    return std::nullopt;
  }
  if (outcome.exitStatus == 0) return AppleScriptBuilder::decodeOutput(outcome.standardOutput);
  const std::string text = repairedUTF8(textViewOf(outcome.standardError));
  if (AppleScriptBuilder::isDenial(text)) {
    report({.denied = true, .description = {}});
  } else if (!text.empty()) {
    report({.denied = false, .description = "osascript error: " + std::string(trimmedWhiteSpace(text))});
  }
  return std::nullopt;
}

// A script is only ever sent to an application that runs, since addressing it would launch it.
std::map<std::string, TerminalKind> AppleScriptTerminals::mapTerminals(const Report& report) {
  constexpr std::array<std::pair<std::string_view, TerminalKind>, 2> applications{
      {{"com.apple.Terminal", TerminalKind::terminalApp}, {"com.googlecode.iterm2", TerminalKind::iterm}}};
  std::map<std::string, TerminalKind> terminals;
  const std::vector<std::string> running = runningBundleIDs_();
  for (const auto& [bundleID, kind] : applications) {
    if (std::ranges::find(running, bundleID) == running.end()) continue;
    const std::optional<std::string> output = run(AppleScriptBuilder::listTTYs(kind), report);
    if (!output) continue;
    for (std::string& tty : AppleScriptBuilder::parseTTYs(*output)) terminals[std::move(tty)] = kind;
  }
  return terminals;
}

std::optional<std::string> AppleScriptTerminals::readContents(const std::string& tty, TerminalKind kind,
                                                              const Report& report) {
  if (kind == TerminalKind::unknown) return std::nullopt;
  return run(AppleScriptBuilder::readContents(tty, kind), report);
}

void AppleScriptTerminals::sendText(const std::string& tty, TerminalKind kind, const std::string& text,
                                    TextSubmission submission, const Report& report) {
  for (const std::string& script : AppleScriptBuilder::sendText(tty, kind, text, submission))
    run(script, report);
}

void AppleScriptTerminals::sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes,
                                   const Report& report) {
  for (const std::string& script : AppleScriptBuilder::sendRaw(tty, kind, bytes)) run(script, report);
}

}  // namespace quorl
