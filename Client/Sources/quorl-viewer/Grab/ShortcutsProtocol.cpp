// SPDX-License-Identifier: GPL-3.0-or-later
// The tables that wayland-scanner makes of the protocol; its header declares them first, which gives them to
// the linker.
#include <keyboard-shortcuts-inhibit-client.h>

#include <keyboard-shortcuts-inhibit-code.h>
