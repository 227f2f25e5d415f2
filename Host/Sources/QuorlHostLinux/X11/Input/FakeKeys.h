// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

struct xcb_connection_t;

namespace quorl {

// Key events of the XTEST keyboard. They do not wait for the server, except where noted.

/// For a key that goes up again in the same batch of requests.
void fakeKey(xcb_connection_t* xcb, std::uint8_t keycode, bool down);

/// Presses a key that may stay down. The server does not repeat it, whatever its settings: a late or lost
/// release must not type. Waits for the server, to read whether it repeats this key.
///
/// All keyboards of a display share the settings, so the repeat is off only during the press: the server
/// reads the setting when a key goes down. Other keys keep repeating, and nothing has to be undone later.
void pressWithoutRepeat(xcb_connection_t* xcb, std::uint8_t keycode);

}  // namespace quorl
