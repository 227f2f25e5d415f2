// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>

namespace quorl {

/// While it or a copy exists, the input of one client waits. May be released on any thread.
using InputHold = std::shared_ptr<const void>;

/// Makes the input that its client sends from now on wait.
using HoldInput = std::function<InputHold()>;

}  // namespace quorl
