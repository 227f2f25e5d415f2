// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/X11/Connection/X11Permissions.h>

#include <xcb/xcb.h>

#include <QuorlHostLinux/X11/Connection/SigpipeBlock.h>
#include <QuorlHostLinux/X11/Connection/XcbReply.h>

namespace quorl {

X11Permissions::X11Permissions(X11DisplayName displayName) : displayName_(std::move(displayName)) {}

X11Permissions::~X11Permissions() = default;

const X11Extensions* X11Permissions::extensions() {
  if (connection_) {
    // Reading notices a server that has gone; keyboard changes come unasked.
    while (const XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(connection_->xcb())}) {
    }
    if (!connection_->isAlive()) connection_.reset();
  }
  if (!connection_) {
    auto opened = X11Connection::open(displayName_);
    if (!opened) return nullptr;
    connection_ = std::move(*opened);
  }
  return &connection_->extensions();
}

bool X11Permissions::mayPostInput() {
  const std::scoped_lock lock(mutex_);
  const auto* offered = extensions();
  return offered != nullptr && offered->xtest.present && offered->xkb.present;
}

bool X11Permissions::mayCaptureScreen() {
  const std::scoped_lock lock(mutex_);
  const auto* offered = extensions();
  return offered != nullptr && offered->damage.present && offered->xfixes.present;
}

}  // namespace quorl
