// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <utility>
#include <vector>

#include <QuorlHostCore/Ports/NetworkInterfaces.h>

namespace quorl::test {

/// Addresses that a test sets. *Queue*: the simulation's one thread.
class FakeNetworkInterfaces : public NetworkInterfaces {
 public:
  std::vector<InterfaceAddress> addresses() override {
    ++reads;
    return current;
  }
  bool setChangeHandler(ChangeHandler handler) override {
    handler_ = std::move(handler);
    return true;
  }

  void notify() {
    if (handler_) handler_();
  }
  bool isWatched() const { return handler_ != nullptr; }

  std::vector<InterfaceAddress> current;
  int reads = 0;

 private:
  ChangeHandler handler_;
};

}  // namespace quorl::test
