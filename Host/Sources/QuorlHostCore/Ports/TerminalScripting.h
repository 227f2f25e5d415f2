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

/// Whether a typed text is followed by Return.
enum class TextSubmission : std::uint8_t { type, submit };

/// Terminal applications of the user that can be read and typed into from outside, tab by tab. A tab is named
/// by the path of its terminal device.
///
/// A call may talk to several applications, so that it can fail in part: each failure goes to `report`, on
/// the calling thread and before the call returns, and what did succeed is the result. A tab that is not
/// there is no failure.
///
/// *Queue*: any, also several at once; each call blocks for as long as the terminal takes, with a bound.
class TerminalScripting {
 public:
  /// `denied`: the user has not allowed it. The description is one line for the log; empty says nothing.
  struct Failure {
    bool denied = false;
    std::string description;
  };
  using Report = std::function<void(const Failure&)>;

  virtual ~TerminalScripting() = default;

  virtual std::map<std::string, TerminalKind> mapTerminals(const Report& report) = 0;
  /// The text of the tab, screen and history, its lines parted by line feeds, valid UTF-8; empty when the tab
  /// is gone, nothing when it could not be asked for.
  virtual std::optional<std::string> readContents(const std::string& tty, TerminalKind kind,
                                                  const Report& report) = 0;
  virtual void sendText(const std::string& tty, TerminalKind kind, const std::string& text,
                        TextSubmission submission, const Report& report) = 0;
  virtual void sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes, const Report& report) = 0;
};

}  // namespace quorl
