// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include <QuorlHostLinux/X11/Connection/X11Connection.h>

namespace quorl {

// The requests of the X Keyboard Extension ("The X Keyboard Extension: Protocol Specification", version 1.0)
// that XCB's generated header does not offer to C++: it names a field `explicit`. All concern the core
// keyboard. Xlib is no alternative: it ends the process when the server is lost.

/// Initialises the extension. Not present when the server lacks it.
X11Extension useXkb(xcb_connection_t* xcb);

struct XkbState {
  std::uint8_t lockedModifiers = 0;
  std::uint8_t group = 0;  // in effect
  std::uint8_t lockedGroup = 0;
};
std::optional<XkbState> readXkbState(xcb_connection_t* xcb);

/// Locks or unlocks the real modifiers of `mask` as `locked` says, without a key event.
void lockXkbModifiers(xcb_connection_t* xcb, std::uint8_t mask, std::uint8_t locked);

/// Locks a group, without a key event.
void lockXkbGroup(xcb_connection_t* xcb, std::uint8_t group);

/// Keysyms of a key: for each of the four groups one without and one with Shift. All 0: the key has none.
using KeySymbols = std::array<std::uint32_t, 8>;

/// Changes the keysyms of several keys in one request, so that clients receive one event. Keys in between
/// keep theirs. Waits for the server. False when nothing was changed.
bool setKeySyms(xcb_connection_t* xcb, const std::map<std::uint8_t, KeySymbols>& keys);

/// Selects the events of changes of the keyboard or its map (`isXkbMapEvent`).
void selectXkbMapEvents(xcb_connection_t* xcb);
bool isXkbMapEvent(const void* event, const X11Extension& xkb);

}  // namespace quorl
