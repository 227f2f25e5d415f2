// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-client/Input/KeyNames.h>

#include <algorithm>
#include <array>
#include <charconv>

#include <QuorlKit/Foundation/ASCII.h>

namespace quorl::client {
namespace {

struct NamedKey {
  std::string_view name;
  std::uint16_t code;
};

// Virtual key codes of the wire: positions of an ANSI keyboard with the numbers of <HIToolbox/Events.h>.
constexpr std::array keys{
    NamedKey{"a", 0},          NamedKey{"s", 1},          NamedKey{"d", 2},
    NamedKey{"f", 3},          NamedKey{"h", 4},          NamedKey{"g", 5},
    NamedKey{"z", 6},          NamedKey{"x", 7},          NamedKey{"c", 8},
    NamedKey{"v", 9},          NamedKey{"b", 11},         NamedKey{"q", 12},
    NamedKey{"w", 13},         NamedKey{"e", 14},         NamedKey{"r", 15},
    NamedKey{"y", 16},         NamedKey{"t", 17},         NamedKey{"1", 18},
    NamedKey{"2", 19},         NamedKey{"3", 20},         NamedKey{"4", 21},
    NamedKey{"6", 22},         NamedKey{"5", 23},         NamedKey{"equal", 24},
    NamedKey{"9", 25},         NamedKey{"7", 26},         NamedKey{"minus", 27},
    NamedKey{"8", 28},         NamedKey{"0", 29},         NamedKey{"rightbracket", 30},
    NamedKey{"o", 31},         NamedKey{"u", 32},         NamedKey{"leftbracket", 33},
    NamedKey{"i", 34},         NamedKey{"p", 35},         NamedKey{"return", 36},
    NamedKey{"l", 37},         NamedKey{"j", 38},         NamedKey{"quote", 39},
    NamedKey{"k", 40},         NamedKey{"semicolon", 41}, NamedKey{"backslash", 42},
    NamedKey{"comma", 43},     NamedKey{"slash", 44},     NamedKey{"n", 45},
    NamedKey{"m", 46},         NamedKey{"period", 47},    NamedKey{"tab", 48},
    NamedKey{"space", 49},     NamedKey{"grave", 50},     NamedKey{"backspace", 51},
    NamedKey{"escape", 53},    NamedKey{"f17", 64},       NamedKey{"clear", 71},
    NamedKey{"enter", 76},     NamedKey{"f18", 79},       NamedKey{"f19", 80},
    NamedKey{"f20", 90},       NamedKey{"f5", 96},        NamedKey{"f6", 97},
    NamedKey{"f7", 98},        NamedKey{"f3", 99},        NamedKey{"f8", 100},
    NamedKey{"f9", 101},       NamedKey{"f11", 103},      NamedKey{"f13", 105},
    NamedKey{"f16", 106},      NamedKey{"f14", 107},      NamedKey{"f10", 109},
    NamedKey{"f12", 111},      NamedKey{"f15", 113},      NamedKey{"help", 114},
    NamedKey{"home", 115},     NamedKey{"pageup", 116},   NamedKey{"delete", 117},
    NamedKey{"f4", 118},       NamedKey{"end", 119},      NamedKey{"f2", 120},
    NamedKey{"pagedown", 121}, NamedKey{"f1", 122},       NamedKey{"left", 123},
    NamedKey{"right", 124},    NamedKey{"down", 125},     NamedKey{"up", 126},
};

struct NamedModifier {
  std::string_view name;
  WireModifiers flag;
  std::uint16_t code;
};

constexpr std::array modifiers{
    NamedModifier{"shift", WireModifiers::shift, 56},  NamedModifier{"control", WireModifiers::control, 59},
    NamedModifier{"ctrl", WireModifiers::control, 59}, NamedModifier{"option", WireModifiers::option, 58},
    NamedModifier{"alt", WireModifiers::option, 58},   NamedModifier{"command", WireModifiers::command, 55},
    NamedModifier{"cmd", WireModifiers::command, 55},  NamedModifier{"function", WireModifiers::function, 63},
    NamedModifier{"fn", WireModifiers::function, 63},  NamedModifier{"capslock", WireModifiers::capsLock, 57},
};

std::optional<std::uint16_t> parseCode(std::string_view text) {
  const bool isHexadecimal = text.starts_with("0x");
  if (isHexadecimal) text.remove_prefix(2);
  if (!isHexadecimal && text.size() < 2) return std::nullopt;
  std::uint16_t code = 0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), code, isHexadecimal ? 16 : 10);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return code;
}

std::optional<std::uint16_t> keyCode(std::string_view name) {
  const auto found = std::ranges::find(keys, name, &NamedKey::name);
  return found != keys.end() ? std::optional(found->code) : parseCode(name);
}

const NamedModifier* findModifier(std::string_view name) {
  const auto found = std::ranges::find(modifiers, name, &NamedModifier::name);
  return found != modifiers.end() ? &*found : nullptr;
}

std::string makeHelp() {
  std::string text = "Names: ";
  std::size_t column = text.size();
  for (const auto& key : keys) {
    if (key.name.size() == 1) continue;
    if (column + key.name.size() > 90) {
      text += "\n  ";
      column = 2;
    }
    text += std::string(key.name) + ' ';
    column += key.name.size() + 1;
  }
  return text +
         "\n  and each letter and digit. Modifiers: shift control (ctrl) option (alt) command (cmd)\n"
         "  function (fn) capslock. A number of two digits or more, or 0x..., is a virtual key code.\n"
         "Keys name positions of an ANSI keyboard; for text use 'type'.\n";
}

}  // namespace

std::optional<KeyPress> parseKeyPress(std::string_view text) {
  KeyPress press;
  std::optional<std::uint16_t> key;
  const NamedModifier* onlyModifier = nullptr;
  const std::string lower = loweredASCII(text);
  std::string_view rest = lower;
  for (bool more = true; more;) {
    const auto plus = rest.find('+');
    const auto word = rest.substr(0, plus);
    more = plus != std::string_view::npos;
    if (more) rest.remove_prefix(plus + 1);
    if (const auto* modifier = findModifier(word)) {
      press.modifiers = press.modifiers | modifier->flag;
      onlyModifier = modifier;
      continue;
    }
    const auto code = keyCode(word);
    if (!code || key) return std::nullopt;
    key = code;
  }
  if (!key) {
    // A modifier alone is a key like any other.
    if (onlyModifier == nullptr || press.modifiers != onlyModifier->flag) return std::nullopt;
    return KeyPress{onlyModifier->code, {}};
  }
  press.keyCode = *key;
  return press;
}

std::vector<inputEvent::Key> keyEvents(const KeyPress& press) {
  std::vector<inputEvent::Key> events;
  std::vector<const NamedModifier*> held;
  WireModifiers flags;
  for (const auto& modifier : modifiers) {
    if (!press.modifiers.contains(modifier.flag) || flags.contains(modifier.flag)) continue;
    flags = flags | modifier.flag;
    held.push_back(&modifier);
    events.push_back({modifier.code, true, flags});
  }
  events.push_back({press.keyCode, true, flags});
  events.push_back({press.keyCode, false, flags});
  for (auto modifier = held.rbegin(); modifier != held.rend(); ++modifier) {
    flags.rawValue &= ~(*modifier)->flag.rawValue;
    events.push_back({(*modifier)->code, false, flags});
  }
  return events;
}

const std::string& keyNameHelp() {
  static const std::string text = makeHelp();
  return text;
}

}  // namespace quorl::client
