// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// Whether Return follows a typed text.
enum class TextSubmission : std::uint8_t { type, submit };

/// The user's terminal applications, read and typed into tab by tab. A tab is named by the path of its
/// terminal device.
///
/// A call may ask several applications and fail for some of them. Each failure is passed to `report`; the
/// result holds what succeeded. A missing tab is not a failure.
///
/// *Queue*: any thread, several at a time; `report` is called on the calling thread before the call returns.
/// *Blocking*: each call waits for the terminal, with a time limit; callers use `Scheduler::blocking`.
/// *Ownership*: borrows `report` for the call; returns copies.
/// *Lifetime*: no work is pending between calls.
class TerminalScripting {
 public:
  /// `denied`: the user has not permitted it. The description is one line for the log; if empty, none is
  /// written.
  struct Failure {
    bool denied = false;
    std::string description;
  };
  using Report = std::function<void(const Failure&)>;

  virtual ~TerminalScripting() = default;

  virtual std::map<std::string, TerminalKind> mapTerminals(const Report& report) = 0;
  /// The text of the tab, screen and history, with line feeds between lines, valid UTF-8. Empty if the tab is
  /// gone, nothing if it could not be read.
  virtual std::optional<std::string> readContents(const std::string& tty, TerminalKind kind,
                                                  const Report& report) = 0;
  virtual void sendText(const std::string& tty, TerminalKind kind, const std::string& text,
                        TextSubmission submission, const Report& report) = 0;
  virtual void sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes, const Report& report) = 0;
};

}  // namespace quorl
