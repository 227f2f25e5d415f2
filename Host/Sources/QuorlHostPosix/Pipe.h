// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QuorlUnix/Descriptor.h>

namespace quorl {

/// Both ends of a pipe (pipe(7)), close-on-exec and non-blocking.
struct Pipe {
  Descriptor readEnd;
  Descriptor writeEnd;
};

/// Ends the process when no descriptors are left: callers need a pipe to do anything at all.
Pipe openPipe();

}  // namespace quorl
