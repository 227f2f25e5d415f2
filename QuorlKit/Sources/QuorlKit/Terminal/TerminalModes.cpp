// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Terminal/TerminalModes.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace quorl {
namespace {

using Kind = TerminalItem::Kind;

constexpr std::uint8_t escape = 0x1B;
constexpr std::uint8_t shiftOut = 0x0E;
constexpr std::uint8_t shiftIn = 0x0F;
// Longer strings change no mode that is tracked here.
constexpr std::size_t maxCut = 4096;
constexpr std::size_t maxTitle = 512;
constexpr std::size_t maxColours = 256;
constexpr std::size_t maxParameters = 32;
// xterm's three modes for the alternate screen.
constexpr std::array alternateScreens{1049, 1047, 47};
constexpr std::array onByDefault{7, 8, 25};
constexpr int savedCursor = 1048;

int numberOf(std::string_view text, int fallback) {
  int value = fallback;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

bool isOnByDefault(int mode) {
  return std::ranges::find(onByDefault, mode) != onByDefault.end();
}

// The last shift counts; without one the state stays shifted out.
bool isShiftedOutAfter(ByteView text) {
  const auto last = std::find_if(text.rbegin(), text.rend(),
                                 [](std::uint8_t byte) { return byte == shiftOut || byte == shiftIn; });
  return last == text.rend() || *last == shiftOut;
}

bool isAlternateScreen(int mode) {
  return std::ranges::find(alternateScreens, mode) != alternateScreens.end();
}

}  // namespace

void TerminalModes::follow(ByteView output) {
  Bytes joined;
  if (!cut_.empty()) {
    joined = std::exchange(cut_, {});
    joined.insert(joined.end(), output.begin(), output.end());
    output = joined;
  }
  while (!output.empty()) {
    // Shifting to another character set is the only control with a lasting effect. It is rare, so a second
    // search is cheap.
    const auto* const found =
        static_cast<const std::uint8_t*>(std::memchr(output.data(), escape, output.size()));
    const auto plain = found != nullptr ? static_cast<std::size_t>(found - output.data()) : output.size();
    if (std::memchr(output.data(), shiftOut, plain) != nullptr) hasCharacterSet_ = isShiftedOut_ = true;
    if (isShiftedOut_) isShiftedOut_ = isShiftedOutAfter(output.first(plain));
    output = output.subspan(plain);
    if (output.empty()) return;
    const auto item = nextTerminalItem(output);
    if (item.kind == Kind::incomplete) {
      if (output.size() <= maxCut) cut_.assign(output.begin(), output.end());
      return;
    }
    take(item);
    output = output.subspan(item.whole.size());
  }
}

void TerminalModes::take(const TerminalItem& item) {
  if (item.kind == Kind::csi) return takeControlSequence(item);
  if (item.kind == Kind::osc) return takeTitle(item.parameters);
  if (item.kind != Kind::escape) return;
  if (item.final == 'c' && item.parameters.empty()) reset();
  if (item.final == '=') hasApplicationKeypad_ = true;
  if (item.final == '>') hasApplicationKeypad_ = false;
  if (item.parameters.starts_with('(') || item.parameters.starts_with(')')) {
    hasCharacterSet_ = true;
    characterSets_[item.parameters.front() == '(' ? 0 : 1] = item.final;
  }
}

// OSC 0 and 2 (xterm).
void TerminalModes::takeTitle(std::string_view text) {
  if (!text.starts_with("0;") && !text.starts_with("2;")) return;
  if (text.size() <= maxTitle) title_ = std::string(text.substr(2));
}

// SGR. A reset cancels everything before it. If the colours grow too long, the earlier ones are dropped.
void TerminalModes::takeColours(std::string_view parameters) {
  const bool isReset = parameters.empty() || parameters == "0" || parameters.starts_with("0;");
  if (isReset || colours_.size() + parameters.size() > maxColours) colours_.clear();
  if (parameters.empty() || parameters == "0") return;
  if (!colours_.empty()) colours_ += ';';
  colours_ += parameters.substr(0, maxColours);
}

void TerminalModes::takeControlSequence(const TerminalItem& item) {
  auto parameters = item.parameters;
  const char mark = parameters.empty() ? '\0' : parameters.front();
  const bool isSet = item.final == 'h';
  if (isSet || item.final == 'l') {
    if (mark == '?') return takePrivateModes(parameters.substr(1), isSet);
    if (parameters == "4") insertsCharacters_ = isSet;
  } else if (item.final == 'r' && mark != '?') {
    scrollRegion_ = parameters.substr(0, maxParameters);
  } else if (item.final == 'q' && parameters.ends_with(' ')) {
    cursorShape_ = parameters.substr(0, maxParameters);
  } else if (item.final == 'p' && parameters == "!") {
    reset();
  } else if (item.final == 'm' && (mark == '\0' || (mark >= '0' && mark <= ';'))) {
    takeColours(parameters);
  } else if (item.final == 'm' && mark == '>') {
    namesOtherKeys_ = parameters.starts_with(">4;") && parameters != ">4;0";
  } else if (item.final == 'u' && mark == '>') {
    keyboardLevels_ = std::min(keyboardLevels_ + 1, 64);
    keyboardFlags_ = parameters.substr(1, maxParameters);
  } else if (item.final == 'u' && mark == '<') {
    keyboardLevels_ = std::max(keyboardLevels_ - std::clamp(numberOf(parameters.substr(1), 1), 0, 64), 0);
  } else if (item.final == 'u' && mark == '=') {
    hasKeyboardFlags_ = !parameters.starts_with("=0");
  }
}

void TerminalModes::takePrivateModes(std::string_view parameters, bool isSet) {
  while (!parameters.empty()) {
    const auto end = std::min(parameters.find(';'), parameters.size());
    const int mode = numberOf(parameters.substr(0, end), -1);
    if (mode >= 0 && mode != savedCursor && privateModes_.size() < 256) privateModes_[mode] = isSet;
    parameters.remove_prefix(std::min(end + 1, parameters.size()));
  }
}

void TerminalModes::reset() {
  *this = TerminalModes();
}

bool TerminalModes::isInAlternateScreen() const {
  return std::ranges::any_of(alternateScreens, [this](int mode) {
    const auto found = privateModes_.find(mode);
    return found != privateModes_.end() && found->second;
  });
}

Bytes TerminalModes::restoring() const {
  std::string text;
  if (!cut_.empty()) text += '\x18';  // CAN ends a sequence (ECMA-48, 8.3.6)
  if (!scrollRegion_.empty())
    text +=
        "\x1b"
        "7\x1b[r\x1b"
        "8";  // DECSTBM moves the cursor
  for (const int mode : alternateScreens) {
    const auto found = privateModes_.find(mode);
    if (found != privateModes_.end() && found->second) text += fmt::format("\x1b[?{}l", mode);
  }
  for (const auto& [mode, isSet] : privateModes_)
    if (!isAlternateScreen(mode) && isSet != isOnByDefault(mode))
      text += fmt::format("\x1b[?{}{}", mode, isSet ? 'l' : 'h');
  if (keyboardLevels_ > 0) text += fmt::format("\x1b[<{}u", keyboardLevels_);
  if (hasKeyboardFlags_) text += "\x1b[=0u";
  if (namesOtherKeys_) text += "\x1b[>4m";
  if (insertsCharacters_) text += "\x1b[4l";
  if (hasApplicationKeypad_) text += "\x1b>";
  if (!cursorShape_.empty()) text += "\x1b[0 q";
  if (hasCharacterSet_) text += "\x1b(B\x0f";
  text += "\x1b[0m";
  return bytesOf(text);
}

Bytes TerminalModes::setting() const {
  std::string text;
  for (const int mode : alternateScreens) {
    const auto found = privateModes_.find(mode);
    if (found != privateModes_.end() && found->second) text += fmt::format("\x1b[?{}h", mode);
  }
  for (const auto& [mode, isSet] : privateModes_)
    if (!isAlternateScreen(mode) && isSet != isOnByDefault(mode))
      text += fmt::format("\x1b[?{}{}", mode, isSet ? 'h' : 'l');
  if (!scrollRegion_.empty()) text += fmt::format("\x1b[{}r", scrollRegion_);
  if (keyboardLevels_ > 0) text += fmt::format("\x1b[>{}u", keyboardFlags_);
  if (namesOtherKeys_) text += "\x1b[>4;2m";
  if (insertsCharacters_) text += "\x1b[4h";
  if (hasApplicationKeypad_) text += "\x1b=";
  if (!cursorShape_.empty()) text += fmt::format("\x1b[{}q", cursorShape_);
  for (std::size_t i = 0; i < characterSets_.size(); ++i)
    if (characterSets_[i] != 'B') text += fmt::format("\x1b{}{}", i == 0 ? '(' : ')', characterSets_[i]);
  if (isShiftedOut_) text += '\x0e';
  if (title_) text += fmt::format("\x1b]2;{}\x07", *title_);
  if (!colours_.empty()) text += fmt::format("\x1b[{}m", colours_);
  return bytesOf(text);
}

// In contrast to `setting`, includes modes that have their default, every level of the keyboard's stack
// (`setting` pushes the last one), and the unfinished sequence.
Bytes TerminalModes::recreating() const {
  std::string text;
  for (const auto& [mode, isSet] : privateModes_) text += fmt::format("\x1b[?{}{}", mode, isSet ? 'h' : 'l');
  for (int level = 0; level + 1 < keyboardLevels_; ++level) text += fmt::format("\x1b[>{}u", keyboardFlags_);
  if (hasKeyboardFlags_) text += "\x1b[=1u";
  if (hasCharacterSet_) text += fmt::format("\x1b({}\x1b){}", characterSets_[0], characterSets_[1]);
  Bytes bytes = bytesOf(text);
  const Bytes rest = setting();
  bytes.insert(bytes.end(), rest.begin(), rest.end());
  bytes.insert(bytes.end(), cut_.begin(), cut_.end());
  return bytes;
}

}  // namespace quorl
