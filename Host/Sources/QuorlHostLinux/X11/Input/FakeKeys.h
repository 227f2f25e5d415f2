// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

struct xcb_connection_t;

namespace quorl {

// Key events of the XTEST keyboard. None of them waits for the server unless it says so.

/// For a key that goes up again in the same batch of requests.
void fakeKey(xcb_connection_t* xcb, std::uint8_t keycode, bool down);

/// Presses a key that may stay down. The server starts no repeat for it, whatever its settings: a release
/// that is late or lost must not type. Waits for the server, which is asked whether it repeats this key.
///
/// All keyboards of a display share the settings, so the repeat is off during the press alone: the server
/// reads the setting when a key goes down. Other keys keep repeating, and there is nothing to undo later.
void pressWithoutRepeat(xcb_connection_t* xcb, std::uint8_t keycode);

}  // namespace quorl
