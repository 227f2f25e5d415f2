// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/LargeBlocks.h>

#include <malloc.h>

namespace quorl {

namespace {

// Larger than the blocks of steady traffic, smaller than a picture.
constexpr int largeBlock = 256 * 1024;

}  // namespace

// glibc raises its threshold to the size of each mapped block that is freed, up to 32 MiB (mallopt(3)). The
// pictures and encoders of later streams would then be cut from the heaps of the pool's threads, whose holes
// stay with the process. A threshold that is set once is not raised any more.
void returnLargeBlocksWhenFreed() {
  ::mallopt(M_MMAP_THRESHOLD, largeBlock);
}

}  // namespace quorl
