// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>

#include <Linux/System/ChildProgram.h>

namespace quorl::test {

/// A D-Bus daemon that replaces the session bus for a test: DBUS_SESSION_BUS_ADDRESS points to it while it
/// exists.
class PrivateSessionBus {
 public:
  PrivateSessionBus();
  PrivateSessionBus(const PrivateSessionBus&) = delete;
  PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;
  ~PrivateSessionBus();

  bool isRunning() const { return !address_.empty(); }
  const std::string& address() const { return address_; }
  bool isOwned(const std::string& name) const;

 private:
  std::unique_ptr<ChildProgram> daemon_;
  std::string address_;
};

}  // namespace quorl::test
