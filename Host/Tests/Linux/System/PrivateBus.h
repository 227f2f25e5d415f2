// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include <Linux/System/ChildProgram.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {

/// A D-Bus daemon that replaces the system bus for a test: DBUS_SYSTEM_BUS_ADDRESS points to it while it
/// exists. Every user of the machine may use it.
class PrivateBus {
 public:
  PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;
  ~PrivateBus();

  bool isRunning() const { return !address_.empty(); }
  const std::string& address() const { return address_; }

 private:
  TemporaryFolder folder_;
  std::unique_ptr<ChildProgram> daemon_;
  std::string address_;
};

/// python-dbusmock's logind on a private bus.
class LogindMock {
 public:
  LogindMock();
  bool isRunning() const { return running_; }

  /// The last added session of a seat becomes its active one.
  void addSession(const std::string& id, const std::string& seat, unsigned uid, const std::string& user);
  /// An empty id: no session is active.
  void activate(const std::string& seat, const std::string& id);
  void setSessionClass(const std::string& id, const std::string& sessionClass);
  void setSeatOfSession(const std::string& id, const std::string& seat);

 private:
  std::unique_ptr<ChildProgram> mock_;
  bool running_ = false;
};

}  // namespace quorl::test
