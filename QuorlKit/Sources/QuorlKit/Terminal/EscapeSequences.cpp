// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Terminal/EscapeSequences.h>

#include <algorithm>
#include <array>

namespace quorl {
namespace {

constexpr std::uint8_t enquiry = 0x05;
constexpr std::uint8_t bell = 0x07;
constexpr std::uint8_t cancel = 0x18;
constexpr std::uint8_t substitute = 0x1A;
constexpr std::uint8_t escape = 0x1B;
constexpr std::uint8_t deleted = 0x7F;

using Kind = TerminalItem::Kind;

bool isControl(std::uint8_t byte) {
  return byte < 0x20 || byte == deleted;
}

bool breaksOff(std::uint8_t byte) {
  return byte == cancel || byte == substitute || byte == escape;
}

std::string_view textBetween(ByteView bytes, std::size_t begin, std::size_t end) {
  return textViewOf(bytes.subspan(begin, end - begin));
}

TerminalItem controlSequence(ByteView bytes) {
  for (std::size_t at = 2; at < bytes.size(); ++at) {
    const auto byte = bytes[at];
    if (breaksOff(byte)) return {Kind::escape, bytes.first(at), {}, 0};
    if (byte >= 0x40 && byte <= 0x7E)
      return {Kind::csi, bytes.first(at + 1), textBetween(bytes, 2, at), static_cast<char>(byte)};
  }
  return {Kind::incomplete, bytes, {}, 0};
}

TerminalItem stringSequence(ByteView bytes, Kind kind) {
  for (std::size_t at = 2; at < bytes.size(); ++at) {
    const auto byte = bytes[at];
    const auto end = [&](std::size_t length) {
      return TerminalItem{kind, bytes.first(at + length), textBetween(bytes, 2, at),
                          static_cast<char>(bytes[1])};
    };
    // BEL ends an operating system command, as in xterm.
    if (byte == bell && kind == Kind::osc) return end(1);
    if (byte == escape && at + 1 == bytes.size()) return {Kind::incomplete, bytes, {}, 0};
    if (byte == escape && bytes[at + 1] == '\\') return end(2);
    if (breaksOff(byte)) return {Kind::escape, bytes.first(at), {}, 0};
  }
  return {Kind::incomplete, bytes, {}, 0};
}

TerminalItem escapeSequence(ByteView bytes) {
  for (std::size_t at = 1; at < bytes.size(); ++at) {
    const auto byte = bytes[at];
    if (breaksOff(byte) || isControl(byte)) return {Kind::escape, bytes.first(at), {}, 0};
    if (byte >= 0x30)
      return {Kind::escape, bytes.first(at + 1), textBetween(bytes, 1, at), static_cast<char>(byte)};
  }
  return {Kind::incomplete, bytes, {}, 0};
}

bool startsWithAny(std::string_view text, std::span<const std::string_view> beginnings) {
  return std::ranges::any_of(beginnings, [&](std::string_view one) { return text.starts_with(one); });
}

// Queries for device status and attributes, modes, version, keyboard flags and window geometry.
bool asksForAnswer(const TerminalItem& csi) {
  const auto parameters = csi.parameters;
  switch (csi.final) {
    case 'c':
    case 'n':
      return true;
    case 'p':
      return parameters.ends_with('$');
    case 'q':
      return parameters.starts_with('>');
    case 'u':
      return parameters.starts_with('?');
    case 'x':
      return parameters.empty() || parameters == "0" || parameters == "1";
    case 't': {
      constexpr std::array<std::string_view, 9> reports{"11", "13", "14", "15", "16", "18", "19", "20", "21"};
      return startsWithAny(parameters, reports);
    }
    default:
      return false;
  }
}

// A question mark queries a colour or the clipboard; 52 sets the clipboard; 9, 99 and 777 notify.
bool isOnceOnly(const TerminalItem& osc) {
  constexpr std::array<std::string_view, 4> beginnings{"52;", "9;", "99;", "777;"};
  return startsWithAny(osc.parameters, beginnings) || osc.parameters.ends_with(";?");
}

bool isKeptInReplay(const TerminalItem& item) {
  switch (item.kind) {
    case Kind::text:
      return true;
    case Kind::control:
      return item.whole[0] != bell && item.whole[0] != enquiry;
    case Kind::csi:
      return !asksForAnswer(item);
    case Kind::osc:
      return !isOnceOnly(item);
    case Kind::string:
      // DCS $ q and + q are queries; a terminal answers graphics sent by APC.
      return !(item.final == 'P' &&
               (item.parameters.starts_with("$q") || item.parameters.starts_with("+q"))) &&
             item.final != '_';
    case Kind::escape:
      // A broken-off sequence has no effect, and its beginning must not join the end of another. DECID is a
      // query.
      return item.final != 0 && item.final != 'Z';
    case Kind::incomplete:
      return true;  // the rest follows
  }
  return true;
}

}  // namespace

TerminalItem nextTerminalItem(ByteView bytes) {
  if (bytes[0] == escape) {
    if (bytes.size() == 1) return {Kind::incomplete, bytes, {}, 0};
    switch (bytes[1]) {
      case '[':
        return controlSequence(bytes);
      case ']':
        return stringSequence(bytes, Kind::osc);
      case 'P':
      case 'X':
      case '^':
      case '_':
        return stringSequence(bytes, Kind::string);
      default:
        return escapeSequence(bytes);
    }
  }
  if (isControl(bytes[0])) return {Kind::control, bytes.first(1), {}, 0};
  const auto end = std::ranges::find_if(bytes, isControl);
  return {Kind::text, bytes.first(static_cast<std::size_t>(end - bytes.begin())), {}, 0};
}

Bytes fitForReplay(ByteView output) {
  Bytes result;
  result.reserve(output.size());
  while (!output.empty()) {
    const auto item = nextTerminalItem(output);
    if (isKeptInReplay(item)) result.insert(result.end(), item.whole.begin(), item.whole.end());
    output = output.subspan(item.whole.size());
  }
  return result;
}

}  // namespace quorl
