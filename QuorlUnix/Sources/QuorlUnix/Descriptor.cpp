// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlUnix/Descriptor.h>

#include <cerrno>

#include <unistd.h>

namespace quorl {

void Descriptor::reset() {
  if (value_ < 0) return;
  const int saved = errno;  // a close on an error path must not hide the error
  ::close(std::exchange(value_, -1));
  errno = saved;
}

}  // namespace quorl
