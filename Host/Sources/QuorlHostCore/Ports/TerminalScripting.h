// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <map>
#include <optional>
#include <string>

#include <QuorlHostCore/Ports/PortError.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// Terminal applications of the user that can be read and typed into from outside, tab by tab. A tab is named
/// by the path of its terminal device.
///
/// *Queue*: any; each call blocks for as long as the terminal takes, with a bound.
class TerminalScripting {
 public:
  /// Why a call gave nothing. `denied`: the user has not allowed it (reported to clients once).
  struct Failure {
    bool denied = false;
    std::string description;
  };
  template <class T>
  using Result = std::expected<T, Failure>;

  virtual ~TerminalScripting() = default;

  virtual Result<std::map<std::string, TerminalKind>> mapTerminals() = 0;
  /// The text of the tab, screen and history; empty when the tab is gone.
  virtual Result<std::string> readContents(const std::string& tty, TerminalKind kind) = 0;
  virtual Result<void> sendText(const std::string& tty, TerminalKind kind, const std::string& text,
                                bool submit) = 0;
  virtual Result<void> sendRaw(const std::string& tty, TerminalKind kind, ByteView bytes) = 0;
};

}  // namespace quorl
