// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Connection/ConnectionCut.h>

#include <sys/socket.h>

namespace quorl {

void ConnectionCut::opened(const X11Connection& connection) {
  const std::scoped_lock lock(mutex_);
  descriptor_ = connection.descriptor();
}

void ConnectionCut::closed() {
  const std::scoped_lock lock(mutex_);
  descriptor_ = -1;
}

void ConnectionCut::cut() {
  const std::scoped_lock lock(mutex_);
  if (descriptor_ >= 0) ::shutdown(descriptor_, SHUT_RDWR);
}

}  // namespace quorl
