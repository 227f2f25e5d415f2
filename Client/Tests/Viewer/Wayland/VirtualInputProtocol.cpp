// SPDX-License-Identifier: GPL-3.0-or-later
#include <virtual-input-client.h>

#include <virtual-input-code.h>
