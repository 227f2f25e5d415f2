// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostMac/Agents/AppleScriptBuilder.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include <QuorlKit/Foundation/ASCII.h>
#include <QuorlKit/Foundation/TextTools.h>
#include <QuorlKit/Foundation/UTF8.h>

namespace quorl::AppleScriptBuilder {

namespace {

std::string joined(std::initializer_list<std::string_view> pieces) {
  std::string text;
  for (const std::string_view piece : pieces) text += piece;
  return text;
}

std::string quoted(std::string_view text) {
  return joined({"\"", escaped(text), "\""});
}

std::string tellSystemEvents(std::string_view event) {
  return joined({"tell application \"System Events\" to ", event});
}

std::string bringToFront(std::string_view tty) {
  return joined(
      {"tell application \"Terminal\"\n  activate\n  repeat with w in windows\n    repeat with t in tabs of "
       "w\n"
       "      if (tty of t) is ",
       quoted(tty),
       " then\n        set selected tab of w to t\n        set index of w to 1\n        return \"ok\"\n"
       "      end if\n    end repeat\n  end repeat\nend tell\nreturn \"\""});
}

std::string runInTerminal(std::string_view tty, std::string_view text) {
  return joined(
      {"tell application \"Terminal\"\n  repeat with w in windows\n    repeat with t in tabs of w\n"
       "      if (tty of t) is ",
       quoted(tty), " then\n        do script ", quoted(text),
       " in t\n        return \"ok\"\n      end if\n    end repeat\n  end repeat\nend tell\n"
       "return \"\""});
}

/// `expression` is an AppleScript expression, already quoted where it has to be.
std::string writeInITerm(std::string_view tty, std::string_view expression, TextSubmission submission) {
  return joined(
      {"tell application \"iTerm2\"\n  repeat with w in windows\n    repeat with t in tabs of w\n"
       "      repeat with s in sessions of t\n        if (tty of s) is ",
       quoted(tty), " then\n          tell s to write text ", expression, " newline ",
       submission == TextSubmission::submit ? "yes" : "no",
       "\n          return \"ok\"\n        end if\n      end repeat\n    end repeat\n  end repeat\n"
       "end tell\nreturn \"\""});
}

/// The key stroke that a control character stands for, on a terminal that takes no bytes.
std::optional<std::string_view> keyEvent(std::uint8_t byte) {
  switch (byte) {
    case 3:
      return "keystroke \"c\" using control down";
    case 4:
      return "keystroke \"d\" using control down";
    case 9:
      return "key code 48";
    case 10:
    case 13:
      return "key code 36";
    case 26:
      return "keystroke \"z\" using control down";
    case 27:
      return "key code 53";
    default:
      return std::nullopt;
  }
}

std::vector<std::string> sendRawToTerminal(std::string_view tty, ByteView bytes) {
  if (bytes.size() == 1)
    if (const auto event = keyEvent(bytes.front())) return {bringToFront(tty), tellSystemEvents(*event)};
  const std::string_view text = textViewOf(bytes);
  const auto isControl = [](std::uint8_t byte) { return byte < 32; };
  if (!isValidUTF8(text) || std::ranges::any_of(bytes, isControl)) return {};
  return sendText(tty, TerminalKind::terminalApp, text, TextSubmission::submit);
}

std::string characterExpression(ByteView bytes) {
  std::string expression = "(";
  for (const std::uint8_t byte : bytes) {
    if (expression.size() > 1) expression += " & ";
    expression += "(ASCII character " + std::to_string(byte) + ")";
  }
  return expression + ")";
}

}  // namespace

std::string_view applicationName(TerminalKind kind) {
  switch (kind) {
    case TerminalKind::terminalApp:
      return "Terminal";
    case TerminalKind::iterm:
      return "iTerm2";
    case TerminalKind::unknown:
      return {};
  }
  return {};
}

std::string listTTYs(TerminalKind kind) {
  const std::string_view walk =
      kind == TerminalKind::iterm
          ? "repeat with w in windows\n  repeat with t in tabs of w\n    repeat with s in sessions of t\n    "
            "  "
            "set r to r & (tty of s) & linefeed\n    end repeat\n  end repeat\nend repeat"
          : "repeat with w in windows\n  repeat with t in tabs of w\n    set r to r & (tty of t) & "
            "linefeed\n  "
            "end repeat\nend repeat";
  return joined({"tell application ", quoted(applicationName(kind)), "\n  set r to \"\"\n  ", walk,
                 "\n  return r\nend tell"});
}

std::string readContents(std::string_view tty, TerminalKind kind) {
  if (kind == TerminalKind::iterm)
    return joined(
        {"tell application \"iTerm2\"\n  repeat with w in windows\n    repeat with t in tabs of w\n"
         "      repeat with s in sessions of t\n        if (tty of s) is ",
         quoted(tty),
         " then return (contents of s)\n      end repeat\n    end repeat\n  end repeat\nend tell\n"
         "return \"\""});
  return joined(
      {"tell application \"Terminal\"\n  repeat with w in windows\n    repeat with t in tabs of w\n"
       "      if (tty of t) is ",
       quoted(tty), " then return (contents of t)\n    end repeat\n  end repeat\nend tell\nreturn \"\""});
}

std::vector<std::string> sendText(std::string_view tty, TerminalKind kind, std::string_view text,
                                  TextSubmission submission) {
  switch (kind) {
    case TerminalKind::iterm:
      return {writeInITerm(tty, quoted(text), submission)};
    case TerminalKind::terminalApp:
      if (submission == TextSubmission::submit) return {runInTerminal(tty, text)};
      return {bringToFront(tty), tellSystemEvents(joined({"keystroke ", quoted(text)}))};
    case TerminalKind::unknown:
      return {};
  }
  return {};
}

std::vector<std::string> sendRaw(std::string_view tty, TerminalKind kind, ByteView bytes) {
  if (bytes.empty()) return {};
  switch (kind) {
    case TerminalKind::iterm:
      return {writeInITerm(tty, characterExpression(bytes), TextSubmission::type)};
    case TerminalKind::terminalApp:
      return sendRawToTerminal(tty, bytes);
    case TerminalKind::unknown:
      return {};
  }
  return {};
}

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    if (c == '\\' || c == '"') result += '\\';
    result += c;
  }
  return result;
}

std::vector<std::string> parseTTYs(std::string_view output) {
  std::vector<std::string> ttys;
  while (!output.empty()) {
    const std::string_view line = output.substr(0, output.find('\n'));
    output.remove_prefix(std::min(line.size() + 1, output.size()));
    const std::string_view tty = trimmedWhiteSpace(line);
    if (tty.starts_with("/dev/")) ttys.emplace_back(tty);
  }
  return ttys;
}

std::string decodeOutput(ByteView standardOutput) {
  std::string_view text = textViewOf(standardOutput);
  if (!isValidUTF8(text)) return {};
  if (text.ends_with('\n')) text.remove_suffix(1);
  return std::string(text);
}

bool isDenial(std::string_view standardError) {
  if (standardError.find("-1743") != std::string_view::npos) return true;
  return loweredASCII(standardError).find("not allowed") != std::string::npos;
}

}  // namespace quorl::AppleScriptBuilder
