// SPDX-License-Identifier: GPL-3.0-or-later
#include "HostChannel.h"

#include <cerrno>

#include <sys/socket.h>

namespace quorl {

HostChannel::HostChannel(int descriptor, Handlers handlers)
    : descriptor_(descriptor),
      handlers_(std::move(handlers)),
      notifier_(std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read)) {
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { read(); });
}

void HostChannel::read() {
  char buffer[65'536];
  const ssize_t count = ::recv(descriptor_, buffer, sizeof buffer, MSG_DONTWAIT);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
  bool isBroken = count <= 0;
  if (count > 0) input_.append({buffer, static_cast<std::size_t>(count)});
  while (const auto line = input_.next()) {
    const auto message = parseMenuMessage(*line);
    if (message) handlers_.received(*message);
    isBroken = isBroken || !message;
  }
  if (!isBroken && !input_.hasOverflowed()) return;
  notifier_->setEnabled(false);
  handlers_.ended();
}

// An action is far shorter than the socket's buffer, so that it is sent whole or, with a full buffer, not at
// all.
void HostChannel::send(const MenuAction& action) {
  const std::string line = menuLine(action);
  const ssize_t sent = ::send(descriptor_, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  if (sent >= 0 && static_cast<std::size_t>(sent) < line.size()) handlers_.ended();
}

}  // namespace quorl
