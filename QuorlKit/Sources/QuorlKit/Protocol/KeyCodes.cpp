// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlKit/Protocol/KeyCodes.h>

#include <algorithm>
#include <array>

namespace quorl {

namespace {

// Codes: HIToolbox/Events.h of the macOS SDK (kVK_...). Scan codes: linux/input-event-codes.h. Names: the
// keycodes of xkeyboard-config ("evdev").
constexpr std::array table{
    // Letters and digits, by their places on the ANSI keyboard.
    KeyCodeEntry{0x00, 30, "AC01"},
    KeyCodeEntry{0x01, 31, "AC02"},
    KeyCodeEntry{0x02, 32, "AC03"},
    KeyCodeEntry{0x03, 33, "AC04"},
    KeyCodeEntry{0x04, 35, "AC06"},
    KeyCodeEntry{0x05, 34, "AC05"},
    KeyCodeEntry{0x06, 44, "AB01"},
    KeyCodeEntry{0x07, 45, "AB02"},
    KeyCodeEntry{0x08, 46, "AB03"},
    KeyCodeEntry{0x09, 47, "AB04"},
    KeyCodeEntry{0x0B, 48, "AB05"},
    KeyCodeEntry{0x0C, 16, "AD01"},
    KeyCodeEntry{0x0D, 17, "AD02"},
    KeyCodeEntry{0x0E, 18, "AD03"},
    KeyCodeEntry{0x0F, 19, "AD04"},
    KeyCodeEntry{0x10, 21, "AD06"},
    KeyCodeEntry{0x11, 20, "AD05"},
    KeyCodeEntry{0x12, 2, "AE01"},
    KeyCodeEntry{0x13, 3, "AE02"},
    KeyCodeEntry{0x14, 4, "AE03"},
    KeyCodeEntry{0x15, 5, "AE04"},
    KeyCodeEntry{0x16, 7, "AE06"},
    KeyCodeEntry{0x17, 6, "AE05"},
    KeyCodeEntry{0x18, 13, "AE12"},
    KeyCodeEntry{0x19, 10, "AE09"},
    KeyCodeEntry{0x1A, 8, "AE07"},
    KeyCodeEntry{0x1B, 12, "AE11"},
    KeyCodeEntry{0x1C, 9, "AE08"},
    KeyCodeEntry{0x1D, 11, "AE10"},
    KeyCodeEntry{0x1E, 27, "AD12"},
    KeyCodeEntry{0x1F, 24, "AD09"},
    KeyCodeEntry{0x20, 22, "AD07"},
    KeyCodeEntry{0x21, 26, "AD11"},
    KeyCodeEntry{0x22, 23, "AD08"},
    KeyCodeEntry{0x23, 25, "AD10"},
    KeyCodeEntry{0x25, 38, "AC09"},
    KeyCodeEntry{0x26, 36, "AC07"},
    KeyCodeEntry{0x27, 40, "AC11"},
    KeyCodeEntry{0x28, 37, "AC08"},
    KeyCodeEntry{0x29, 39, "AC10"},
    KeyCodeEntry{0x2A, 43, "BKSL"},
    KeyCodeEntry{0x2B, 51, "AB08"},
    KeyCodeEntry{0x2C, 53, "AB10"},
    KeyCodeEntry{0x2D, 49, "AB06"},
    KeyCodeEntry{0x2E, 50, "AB07"},
    KeyCodeEntry{0x2F, 52, "AB09"},
    KeyCodeEntry{0x32, 41, "TLDE"},
    KeyCodeEntry{0x0A, 86, "LSGT"},
    // Editing and modifiers. The Mac's "delete" deletes backwards.
    KeyCodeEntry{0x24, 28, "RTRN"},
    KeyCodeEntry{0x30, 15, "TAB"},
    KeyCodeEntry{0x31, 57, "SPCE"},
    KeyCodeEntry{0x33, 14, "BKSP"},
    KeyCodeEntry{0x34, 0, "KPEN"},
    KeyCodeEntry{0x35, 1, "ESC"},
    KeyCodeEntry{keyCode::rightCommand, 126, "RWIN"},
    KeyCodeEntry{keyCode::command, 125, "LWIN"},
    KeyCodeEntry{keyCode::shift, 42, "LFSH"},
    KeyCodeEntry{keyCode::capsLock, 58, "CAPS"},
    KeyCodeEntry{keyCode::option, 56, "LALT"},
    KeyCodeEntry{keyCode::control, 29, "LCTL"},
    KeyCodeEntry{keyCode::rightShift, 54, "RTSH"},
    KeyCodeEntry{keyCode::rightOption, 100, "RALT"},
    KeyCodeEntry{keyCode::rightControl, 97, "RCTL"},
    // Keypad. "Clear" is in the place of Num Lock.
    KeyCodeEntry{0x41, 83, "KPDL"},
    KeyCodeEntry{0x43, 55, "KPMU"},
    KeyCodeEntry{0x45, 78, "KPAD"},
    KeyCodeEntry{0x47, 69, "NMLK"},
    KeyCodeEntry{0x4B, 98, "KPDV"},
    KeyCodeEntry{0x4C, 96, "KPEN"},
    KeyCodeEntry{0x4E, 74, "KPSU"},
    KeyCodeEntry{0x51, 117, "KPEQ"},
    KeyCodeEntry{0x52, 82, "KP0"},
    KeyCodeEntry{0x53, 79, "KP1"},
    KeyCodeEntry{0x54, 80, "KP2"},
    KeyCodeEntry{0x55, 81, "KP3"},
    KeyCodeEntry{0x56, 75, "KP4"},
    KeyCodeEntry{0x57, 76, "KP5"},
    KeyCodeEntry{0x58, 77, "KP6"},
    KeyCodeEntry{0x59, 71, "KP7"},
    KeyCodeEntry{0x5B, 72, "KP8"},
    KeyCodeEntry{0x5C, 73, "KP9"},
    // Function keys.
    KeyCodeEntry{0x7A, 59, "FK01"},
    KeyCodeEntry{0x78, 60, "FK02"},
    KeyCodeEntry{0x63, 61, "FK03"},
    KeyCodeEntry{0x76, 62, "FK04"},
    KeyCodeEntry{0x60, 63, "FK05"},
    KeyCodeEntry{0x61, 64, "FK06"},
    KeyCodeEntry{0x62, 65, "FK07"},
    KeyCodeEntry{0x64, 66, "FK08"},
    KeyCodeEntry{0x65, 67, "FK09"},
    KeyCodeEntry{0x6D, 68, "FK10"},
    KeyCodeEntry{0x67, 87, "FK11"},
    KeyCodeEntry{0x6F, 88, "FK12"},
    KeyCodeEntry{0x69, 183, "FK13"},
    KeyCodeEntry{0x6B, 184, "FK14"},
    KeyCodeEntry{0x71, 185, "FK15"},
    KeyCodeEntry{0x6A, 186, "FK16"},
    KeyCodeEntry{0x40, 187, "FK17"},
    KeyCodeEntry{0x4F, 188, "FK18"},
    KeyCodeEntry{0x50, 189, "FK19"},
    KeyCodeEntry{0x5A, 190, "FK20"},
    // Navigation, sound, menu. "Help" is in the place of Insert.
    KeyCodeEntry{0x72, 110, "INS"},
    KeyCodeEntry{0x73, 102, "HOME"},
    KeyCodeEntry{0x74, 104, "PGUP"},
    KeyCodeEntry{0x75, 111, "DELE"},
    KeyCodeEntry{0x77, 107, "END"},
    KeyCodeEntry{0x79, 109, "PGDN"},
    KeyCodeEntry{0x7B, 105, "LEFT"},
    KeyCodeEntry{0x7C, 106, "RGHT"},
    KeyCodeEntry{0x7D, 108, "DOWN"},
    KeyCodeEntry{0x7E, 103, "UP"},
    KeyCodeEntry{0x48, 115, "VOL+"},
    KeyCodeEntry{0x49, 114, "VOL-"},
    KeyCodeEntry{0x4A, 113, "MUTE"},
    KeyCodeEntry{0x6E, 127, "COMP"},
    // Keys of the Japanese keyboard, by the names under which Linux reports Apple's.
    KeyCodeEntry{0x5D, 124, "AE13"},
    KeyCodeEntry{0x5E, 89, "AB11"},
    KeyCodeEntry{0x5F, 121, "KPPT"},
    KeyCodeEntry{0x66, 123, "HJCV"},
    KeyCodeEntry{0x68, 122, "HNGL"},
    // Keys that no Mac keyboard has: Print, Scroll Lock, Pause; Henkan, Hiragana/Katakana, Muhenkan,
    // Katakana,
    // Hiragana; mail, calculator, back, forward, eject, next, play, previous, stop, home page, reload,
    // search,
    // brightness.
    KeyCodeEntry{beyondMac + 99, 99, "PRSC"},
    KeyCodeEntry{beyondMac + 70, 70, "SCLK"},
    KeyCodeEntry{beyondMac + 119, 119, "PAUS"},
    KeyCodeEntry{beyondMac + 92, 92, "HENK"},
    KeyCodeEntry{beyondMac + 93, 93, "HKTG"},
    KeyCodeEntry{beyondMac + 94, 94, "MUHE"},
    KeyCodeEntry{beyondMac + 90, 90, "KATA"},
    KeyCodeEntry{beyondMac + 91, 91, "HIRA"},
    KeyCodeEntry{beyondMac + 155, 155, "I163"},
    KeyCodeEntry{beyondMac + 140, 140, "I148"},
    KeyCodeEntry{beyondMac + 158, 158, "I166"},
    KeyCodeEntry{beyondMac + 159, 159, "I167"},
    KeyCodeEntry{beyondMac + 161, 161, "I169"},
    KeyCodeEntry{beyondMac + 163, 163, "I171"},
    KeyCodeEntry{beyondMac + 164, 164, "I172"},
    KeyCodeEntry{beyondMac + 165, 165, "I173"},
    KeyCodeEntry{beyondMac + 166, 166, "I174"},
    KeyCodeEntry{beyondMac + 172, 172, "I180"},
    KeyCodeEntry{beyondMac + 173, 173, "I181"},
    KeyCodeEntry{beyondMac + 217, 217, "I225"},
    KeyCodeEntry{beyondMac + 224, 224, "I232"},
    KeyCodeEntry{beyondMac + 225, 225, "I233"},
};

}  // namespace

std::span<const KeyCodeEntry> keyCodeTable() {
  return table;
}

std::optional<std::uint16_t> keyCodeOfScanCode(std::uint16_t scanCode) {
  constexpr std::uint16_t japaneseKeypadComma = 95;  // the PC's; Apple's keyboard reports another one
  if (scanCode == 0) return std::nullopt;
  if (scanCode == japaneseKeypadComma) return 0x5F;
  const auto entry = std::ranges::find(table, scanCode, &KeyCodeEntry::scanCode);
  if (entry == table.end()) return std::nullopt;
  return entry->code;
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
