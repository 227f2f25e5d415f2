// SPDX-License-Identifier: GPL-3.0-or-later
#include <quorl-viewer/Keyboard/SpecialKeys.h>

#include <algorithm>
#include <array>
#include <ranges>

#include <QuorlKit/Protocol/KeyCodes.h>

#include <quorl-viewer/Keyboard/GrabMachine.h>
#include <quorl-viewer/Keyboard/KeyPlaces.h>

namespace quorl::viewer {
namespace {

using namespace quorl::keyCode;

constexpr std::uint16_t space = 0x31;
constexpr std::uint16_t print = beyondMac + 99;
constexpr std::uint16_t scrollLock = beyondMac + 70;
constexpr std::uint16_t pause = beyondMac + 119;
constexpr std::uint16_t menu = 0x6E;
constexpr std::uint16_t f4 = 0x76;

const std::array<SpecialKey, 31>& table() {
  static const std::array<SpecialKey, 31> keys{{
      {"Ctrl+Alt+Delete", {control, option, forwardDelete}},
      {"Ctrl+Alt+Backspace", {control, option, backspace}},
      {"Ctrl+Alt+F1", {control, option, 0x7A}},
      {"Ctrl+Alt+F2", {control, option, 0x78}},
      {"Ctrl+Alt+F3", {control, option, 0x63}},
      {"Ctrl+Alt+F4", {control, option, f4}},
      {"Ctrl+Alt+F5", {control, option, 0x60}},
      {"Ctrl+Alt+F6", {control, option, 0x61}},
      {"Ctrl+Alt+F7", {control, option, 0x62}},
      {"Ctrl+Alt+F8", {control, option, 0x64}},
      {"Ctrl+Alt+F9", {control, option, 0x65}},
      {"Ctrl+Alt+F10", {control, option, 0x6D}},
      {"Ctrl+Alt+F11", {control, option, 0x67}},
      {"Ctrl+Alt+F12", {control, option, 0x6F}},
      {"Super", {command}},
      {"Super+L", {command, 0x25}},
      {"Super+Tab", {command, tab}},
      {"Alt+Tab", {option, tab}},
      {"Alt+Shift+Tab", {option, shift, tab}},
      {"Alt+F2", {option, 0x78}},
      {"Alt+F4", {option, f4}},
      {"Ctrl+Escape", {control, escape}},
      {"Print", {print}},
      {"Alt+Print", {option, print}},
      {"Shift+Print", {shift, print}},
      // Ends a lock that was set at the host's own keyboard, which this computer's lock does not change.
      {"Caps Lock", {capsLock}},
      {"Scroll Lock", {scrollLock}},
      {"Pause", {pause}},
      {"Menu", {menu}},
      {"Insert", {insert}},
      {releaseChordText, {control, option, shift, space}},
  }};
  return keys;
}

}  // namespace

std::span<const SpecialKey> specialKeys() {
  return table();
}

const SpecialKey* findSpecialKey(std::string_view name) {
  const auto* const found = std::ranges::find(table(), name, &SpecialKey::name);
  return found == table().end() ? nullptr : found;
}

std::vector<inputEvent::Key> eventsOf(const SpecialKey& special) {
  std::vector<inputEvent::Key> events;
  WireModifiers flags = WireModifiers::asPressed;
  for (const auto key : special.keys) {
    if (const auto modifier = modifierOfWireKey(key)) flags = flags | *modifier;
    events.push_back({key, true, flags});
  }
  for (const auto key : special.keys | std::views::reverse) {
    if (const auto modifier = modifierOfWireKey(key)) flags.rawValue &= ~modifier->rawValue;
    events.push_back({key, false, flags});
  }
  return events;
}

}  // namespace quorl::viewer
