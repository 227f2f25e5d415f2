// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorl {

/// Makes the allocator return large blocks, such as pictures, to the system as soon as they are freed, for
/// the rest of the process. To be called before other threads start.
void returnLargeBlocksWhenFreed();

}  // namespace quorl
