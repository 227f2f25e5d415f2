// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Terminal/DetachKey.h>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include <QuorlKit/Foundation/ASCII.h>

namespace quorl::client {
namespace {

constexpr std::uint8_t escape = 0x1B;
constexpr std::string_view pasteBegin = "\x1b[200~";  // xterm, bracketed paste mode
constexpr std::string_view pasteEnd = "\x1b[201~";

// Fewer bytes of an escape sequence may be another key: Escape, or Alt with a bracket.
constexpr std::size_t unmistakable = 3;

// The control character (ECMA-48, C0) and the two forms that name a key with its modifiers: "CSI code ;
// modifiers u" and xterm's modifyOtherKeys. Modifiers are 1 plus bits: Control 4, the lock keys 64 and 128.
DetachKey::Encodings encodingsOfControl(char letter) {
  DetachKey::Encodings result{{static_cast<std::uint8_t>(static_cast<unsigned char>(letter) & 0x1FU)}};
  for (const int modifiers : {5, 69, 133, 197})
    result.push_back(bytesOf(fmt::format("\x1b[{};{}u", static_cast<int>(letter), modifiers)));
  result.push_back(bytesOf(fmt::format("\x1b[27;5;{}~", static_cast<int>(letter))));
  return result;
}

std::optional<char> controlLetter(std::string_view word) {
  std::string_view rest = word;
  if (word.size() == 2 && word[0] == '^')
    rest = word.substr(1);
  else if (word.size() == 6 && (word.starts_with("ctrl-") || word.starts_with("Ctrl-")))
    rest = word.substr(5);
  else
    return std::nullopt;
  const char letter = loweredASCII(rest[0]);
  // Control with an opening bracket is Escape, with which every function key begins.
  const bool isKnown = (letter >= 'a' && letter <= 'z') || std::string_view("@\\]^_").contains(letter);
  return isKnown ? std::optional(letter) : std::nullopt;
}

bool isPrefix(ByteView prefix, ByteView of) {
  return prefix.size() <= of.size() && std::equal(prefix.begin(), prefix.end(), of.begin());
}

}  // namespace

Outcome<DetachKey> DetachKey::parse(std::string_view text) {
  DetachKey result;
  if (text == "none") return result;
  const auto wrong = [&] {
    return failed(ExitCode::usage, fmt::format("'{}' is not a detach key", text),
                  "Examples: ctrl-], ^\\, 'ctrl-p ctrl-q', 'ctrl-a d', none.");
  };
  while (!text.empty()) {
    const auto end = std::min(text.find(' '), text.size());
    const auto word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (word.empty()) continue;
    if (!result.name.empty()) result.name += ' ';
    if (const auto letter = controlLetter(word)) {
      result.keys.push_back(encodingsOfControl(*letter));
      result.name += fmt::format("Ctrl-{}", *letter);
    } else if (word.size() == 1 && word[0] > ' ' && word[0] < 0x7F) {
      result.keys.push_back({bytesOf(word)});
      result.name += word;
    } else {
      return wrong();
    }
  }
  if (result.keys.empty()) return wrong();
  return result;
}

KeyFilter::Match KeyFilter::matchAt(ByteView data, std::size_t& length) const {
  const std::size_t all = data.size();
  bool isBegun = false;
  for (const auto& encodings : key_.keys) {
    const auto whole = std::ranges::find_if(encodings, [&](const Bytes& one) { return isPrefix(one, data); });
    if (whole != encodings.end()) {
      data = data.subspan(whole->size());
      isBegun = true;
      continue;
    }
    // After a first press the wait is short anyway.
    if (!isBegun && !leavesAt_ && data.size() < unmistakable) return Match::none;
    const bool mayCome =
        std::ranges::any_of(encodings, [&](const Bytes& one) { return isPrefix(data, one); });
    return mayCome ? Match::partial : Match::none;
  }
  length = all - data.size();
  return isBegun ? Match::full : Match::none;
}

KeyFilter::Result KeyFilter::feed(ByteView typed, Clock::time_point now) {
  Result result;
  result.hasDetached = hasDetached(now);
  if (result.hasDetached) return result;
  Bytes data = std::exchange(held_, {});
  data.insert(data.end(), typed.begin(), typed.end());
  result.passed.reserve(data.size());
  for (std::size_t position = 0; position < data.size(); ++position) {
    if (!isInPaste_) {
      const auto rest = ByteView(data).subspan(position);
      std::size_t length = 0;
      const auto match = matchAt(rest, length);
      if (match == Match::partial) {
        held_.assign(rest.begin(), rest.end());
        return result;
      }
      if (match == Match::full) {
        const bool isSecond = std::exchange(leavesAt_, std::nullopt).has_value();
        if (isSecond) {
          result.passed.insert(result.passed.end(), rest.begin(),
                               rest.begin() + static_cast<std::ptrdiff_t>(length));
        } else {
          leavesAt_ = now + again;
        }
        position += length - 1;
        continue;
      }
      // Another key follows, so there is no second press.
      result.hasDetached = leavesAt_.has_value();
      if (result.hasDetached) return result;
    }
    followPaste(data[position]);
    result.passed.push_back(data[position]);
  }
  return result;
}

void KeyFilter::followPaste(std::uint8_t byte) {
  const auto mark = isInPaste_ ? pasteEnd : pasteBegin;
  if (byte == static_cast<std::uint8_t>(mark[markProgress_]))
    ++markProgress_;
  else
    markProgress_ = byte == escape ? 1 : 0;
  if (markProgress_ < mark.size()) return;
  markProgress_ = 0;
  isInPaste_ = !isInPaste_;
}

}  // namespace quorl::client
