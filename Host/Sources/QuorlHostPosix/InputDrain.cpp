// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostPosix/InputDrain.h>

#include <algorithm>
#include <cerrno>

#include <sys/socket.h>

namespace quorl::InputDrain {

Outcome discard(int descriptor, std::size_t& allowance) {
  std::uint8_t scratch[16'384];
  while (allowance > 0) {
    const ssize_t count = ::recv(descriptor, scratch, std::min(sizeof scratch, allowance), MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return Outcome::waiting;
    if (count <= 0) return Outcome::ended;
    allowance -= static_cast<std::size_t>(count);
  }
  return Outcome::ended;
}

}  // namespace quorl::InputDrain
