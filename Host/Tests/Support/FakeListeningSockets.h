// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <vector>

#include <QuorlHostCore/Ports/ListeningSockets.h>

namespace quorl::test {

/// Listening sockets that a test sets.
///
/// *Queue*: the simulation's one thread.
class FakeListeningSockets : public ListeningSockets {
 public:
  std::expected<std::vector<ListeningSocket>, PortError> list() override {
    ++calls;
    return sockets;
  }

  std::expected<std::vector<ListeningSocket>, PortError> sockets;
  int calls = 0;
};

}  // namespace quorl::test
