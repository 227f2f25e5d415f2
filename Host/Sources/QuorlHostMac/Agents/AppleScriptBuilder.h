// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QuorlHostCore/Ports/TerminalScripting.h>
#include <QuorlKit/Foundation/ByteView.h>
#include <QuorlKit/Models/AgentModels.h>

namespace quorl {

/// The scripts (AppleScript, for `osascript -e`) that read and write the tabs of Terminal and iTerm2, and the
/// meaning of what running one prints. Several scripts are run one after the other, whatever each returns.
/// Every text that goes between quotes is escaped here.
namespace AppleScriptBuilder {

/// The name as scripts know the application; empty for `unknown`.
std::string_view applicationName(TerminalKind kind);

std::string listTTYs(TerminalKind kind);
std::string readContents(std::string_view tty, TerminalKind kind);
/// Terminal can only run a line; to type without Return it is brought to the front and given key strokes.
std::vector<std::string> sendText(std::string_view tty, TerminalKind kind, std::string_view text,
                                  TextSubmission submission);
/// Empty when the tab has no way to receive these bytes.
std::vector<std::string> sendRaw(std::string_view tty, TerminalKind kind, ByteView bytes);

/// Backslashes doubled, then quotes with a backslash before them.
std::string escaped(std::string_view text);
/// The device paths in what `listTTYs` printed.
std::vector<std::string> parseTTYs(std::string_view output);
/// Standard output as the script's value: without its last line end, empty if it is not UTF-8.
std::string decodeOutput(ByteView standardOutput);
/// Whether a failed script was refused for want of the Automation permission.
bool isDenial(std::string_view standardError);

}  // namespace AppleScriptBuilder

}  // namespace quorl
