// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include "../Support/Viewer.h"

namespace quorl::bench {

/// What a person in front of an X display sees: notices each change by the DAMAGE extension and reads the
/// probes from the screen. `bytes` is 0: a screen receives none. `pictures` counts changes of the first
/// probe.
///
/// *Queue*: a thread of its own reads; the rest is called by one thread.
std::unique_ptr<Viewer> watchScreen(const std::string& display);

}  // namespace quorl::bench
