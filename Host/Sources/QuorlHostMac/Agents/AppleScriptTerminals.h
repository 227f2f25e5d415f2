// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <QuorlHostCore/Ports/TerminalScripting.h>
#include <QuorlKit/Foundation/ByteView.h>

namespace quorl {

/// Terminal and iTerm2 by script, for a platform that has them: the platform only runs scripts and says which
/// applications run.
///
/// *Queue*: any; a call lasts as long as its scripts. *Ownership*: owns the two functions.
class AppleScriptTerminals final : public TerminalScripting {
 public:
  /// How a script ended. `launchFailure` is set when it could not be started at all.
  struct Outcome {
    std::optional<std::string> launchFailure;
    int exitStatus = 0;
    Bytes standardOutput;
    Bytes standardError;
  };
  using RunScript = std::function<Outcome(const std::string& script)>;
  using RunningBundleIDs = std::function<std::vector<std::string>()>;

  AppleScriptTerminals(RunScript run, RunningBundleIDs runningBundleIDs);

  std::map<std::string, TerminalKind> mapTerminals(const Report& report) override;
  std::optional<std::string> readContents(const std::string& tty, TerminalKind kind,
                                          const Report& report) override;
  void sendText(const std::string& tty, TerminalKind kind, const std::string& text, TextSubmission submission,
                const Report& report) override;
  void sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes, const Report& report) override;

 private:
  std::optional<std::string> run(const std::string& script, const Report& report);

  RunScript run_;
  RunningBundleIDs runningBundleIDs_;
};

}  // namespace quorl
