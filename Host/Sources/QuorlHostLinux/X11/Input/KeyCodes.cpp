// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Input/KeyCodes.h>

#include <algorithm>
#include <array>

namespace quorl {

namespace {

// Codes: HIToolbox/Events.h of the macOS SDK (kVK_...). Names: the keycodes of xkeyboard-config ("evdev").
constexpr std::array table{
    // Letters and digits, by their places on the ANSI keyboard.
    KeyCodeEntry{0x00, "AC01"},
    KeyCodeEntry{0x01, "AC02"},
    KeyCodeEntry{0x02, "AC03"},
    KeyCodeEntry{0x03, "AC04"},
    KeyCodeEntry{0x04, "AC06"},
    KeyCodeEntry{0x05, "AC05"},
    KeyCodeEntry{0x06, "AB01"},
    KeyCodeEntry{0x07, "AB02"},
    KeyCodeEntry{0x08, "AB03"},
    KeyCodeEntry{0x09, "AB04"},
    KeyCodeEntry{0x0B, "AB05"},
    KeyCodeEntry{0x0C, "AD01"},
    KeyCodeEntry{0x0D, "AD02"},
    KeyCodeEntry{0x0E, "AD03"},
    KeyCodeEntry{0x0F, "AD04"},
    KeyCodeEntry{0x10, "AD06"},
    KeyCodeEntry{0x11, "AD05"},
    KeyCodeEntry{0x12, "AE01"},
    KeyCodeEntry{0x13, "AE02"},
    KeyCodeEntry{0x14, "AE03"},
    KeyCodeEntry{0x15, "AE04"},
    KeyCodeEntry{0x16, "AE06"},
    KeyCodeEntry{0x17, "AE05"},
    KeyCodeEntry{0x18, "AE12"},
    KeyCodeEntry{0x19, "AE09"},
    KeyCodeEntry{0x1A, "AE07"},
    KeyCodeEntry{0x1B, "AE11"},
    KeyCodeEntry{0x1C, "AE08"},
    KeyCodeEntry{0x1D, "AE10"},
    KeyCodeEntry{0x1E, "AD12"},
    KeyCodeEntry{0x1F, "AD09"},
    KeyCodeEntry{0x20, "AD07"},
    KeyCodeEntry{0x21, "AD11"},
    KeyCodeEntry{0x22, "AD08"},
    KeyCodeEntry{0x23, "AD10"},
    KeyCodeEntry{0x25, "AC09"},
    KeyCodeEntry{0x26, "AC07"},
    KeyCodeEntry{0x27, "AC11"},
    KeyCodeEntry{0x28, "AC08"},
    KeyCodeEntry{0x29, "AC10"},
    KeyCodeEntry{0x2A, "BKSL"},
    KeyCodeEntry{0x2B, "AB08"},
    KeyCodeEntry{0x2C, "AB10"},
    KeyCodeEntry{0x2D, "AB06"},
    KeyCodeEntry{0x2E, "AB07"},
    KeyCodeEntry{0x2F, "AB09"},
    KeyCodeEntry{0x32, "TLDE"},
    KeyCodeEntry{0x0A, "LSGT"},
    // Editing and modifiers. The Mac's "delete" deletes backwards.
    KeyCodeEntry{0x24, "RTRN"},
    KeyCodeEntry{0x30, "TAB"},
    KeyCodeEntry{0x31, "SPCE"},
    KeyCodeEntry{0x33, "BKSP"},
    KeyCodeEntry{0x34, "KPEN"},
    KeyCodeEntry{0x35, "ESC"},
    KeyCodeEntry{keyCode::rightCommand, "RWIN"},
    KeyCodeEntry{keyCode::command, "LWIN"},
    KeyCodeEntry{keyCode::shift, "LFSH"},
    KeyCodeEntry{keyCode::capsLock, "CAPS"},
    KeyCodeEntry{keyCode::option, "LALT"},
    KeyCodeEntry{keyCode::control, "LCTL"},
    KeyCodeEntry{keyCode::rightShift, "RTSH"},
    KeyCodeEntry{keyCode::rightOption, "RALT"},
    KeyCodeEntry{keyCode::rightControl, "RCTL"},
    // Keypad. "Clear" is in the place of Num Lock.
    KeyCodeEntry{0x41, "KPDL"},
    KeyCodeEntry{0x43, "KPMU"},
    KeyCodeEntry{0x45, "KPAD"},
    KeyCodeEntry{0x47, "NMLK"},
    KeyCodeEntry{0x4B, "KPDV"},
    KeyCodeEntry{0x4C, "KPEN"},
    KeyCodeEntry{0x4E, "KPSU"},
    KeyCodeEntry{0x51, "KPEQ"},
    KeyCodeEntry{0x52, "KP0"},
    KeyCodeEntry{0x53, "KP1"},
    KeyCodeEntry{0x54, "KP2"},
    KeyCodeEntry{0x55, "KP3"},
    KeyCodeEntry{0x56, "KP4"},
    KeyCodeEntry{0x57, "KP5"},
    KeyCodeEntry{0x58, "KP6"},
    KeyCodeEntry{0x59, "KP7"},
    KeyCodeEntry{0x5B, "KP8"},
    KeyCodeEntry{0x5C, "KP9"},
    // Function keys.
    KeyCodeEntry{0x7A, "FK01"},
    KeyCodeEntry{0x78, "FK02"},
    KeyCodeEntry{0x63, "FK03"},
    KeyCodeEntry{0x76, "FK04"},
    KeyCodeEntry{0x60, "FK05"},
    KeyCodeEntry{0x61, "FK06"},
    KeyCodeEntry{0x62, "FK07"},
    KeyCodeEntry{0x64, "FK08"},
    KeyCodeEntry{0x65, "FK09"},
    KeyCodeEntry{0x6D, "FK10"},
    KeyCodeEntry{0x67, "FK11"},
    KeyCodeEntry{0x6F, "FK12"},
    KeyCodeEntry{0x69, "FK13"},
    KeyCodeEntry{0x6B, "FK14"},
    KeyCodeEntry{0x71, "FK15"},
    KeyCodeEntry{0x6A, "FK16"},
    KeyCodeEntry{0x40, "FK17"},
    KeyCodeEntry{0x4F, "FK18"},
    KeyCodeEntry{0x50, "FK19"},
    KeyCodeEntry{0x5A, "FK20"},
    // Navigation, sound, menu. "Help" is in the place of Insert.
    KeyCodeEntry{0x72, "INS"},
    KeyCodeEntry{0x73, "HOME"},
    KeyCodeEntry{0x74, "PGUP"},
    KeyCodeEntry{0x75, "DELE"},
    KeyCodeEntry{0x77, "END"},
    KeyCodeEntry{0x79, "PGDN"},
    KeyCodeEntry{0x7B, "LEFT"},
    KeyCodeEntry{0x7C, "RGHT"},
    KeyCodeEntry{0x7D, "DOWN"},
    KeyCodeEntry{0x7E, "UP"},
    KeyCodeEntry{0x48, "VOL+"},
    KeyCodeEntry{0x49, "VOL-"},
    KeyCodeEntry{0x4A, "MUTE"},
    KeyCodeEntry{0x6E, "COMP"},
    // Keys of the Japanese keyboard, by the names under which Linux reports Apple's.
    KeyCodeEntry{0x5D, "AE13"},
    KeyCodeEntry{0x5E, "AB11"},
    KeyCodeEntry{0x5F, "KPPT"},
    KeyCodeEntry{0x66, "HJCV"},
    KeyCodeEntry{0x68, "HNGL"},
};

}  // namespace

std::span<const KeyCodeEntry> keyCodeTable() {
  return table;
}

std::optional<std::string_view> xkbKeyName(std::uint16_t code) {
  const auto entry = std::ranges::find(table, code, &KeyCodeEntry::code);
  if (entry == table.end()) return std::nullopt;
  return entry->xkbName;
}

bool isKeypadCharacter(std::uint16_t code) {
  const auto name = xkbKeyName(code);
  return name && (*name == "KPDL" || (name->starts_with("KP") && name->back() >= '0' && name->back() <= '9'));
}

}  // namespace quorl
