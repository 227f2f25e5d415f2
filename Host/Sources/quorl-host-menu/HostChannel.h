// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <QSocketNotifier>

#include <QuorlHostCore/Menu/Model/LineBuffer.h>
#include <QuorlHostCore/Menu/Model/MenuMessages.h>

namespace quorl {

/// The connection to the host: a stream socket that the host has given to this program.
///
/// *Queue*: GUI thread.
/// *Blocking*: none. Actions that the host does not read for long are dropped.
/// *Ownership*: borrows the descriptor.
class HostChannel {
 public:
  struct Handlers {
    std::function<void(const MenuMessage&)> received;
    std::function<void()> ended;  // the host has gone or sent an invalid message
  };

  HostChannel(int descriptor, Handlers handlers);

  void send(const MenuAction& action);

 private:
  void read();

  const int descriptor_;
  const Handlers handlers_;
  LineBuffer input_;
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace quorl
