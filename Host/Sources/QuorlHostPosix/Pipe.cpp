// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/Pipe.h>

#include <array>

#include <fcntl.h>
#include <unistd.h>

#include <QuorlKit/Foundation/Check.h>

namespace quorl {

Pipe openPipe() {
  std::array<int, 2> ends{};
  QUORL_CHECK(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) == 0, "no descriptors are left for a pipe");
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

}  // namespace quorl
