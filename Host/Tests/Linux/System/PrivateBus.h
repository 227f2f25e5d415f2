// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <Linux/System/ChildProgram.h>
#include <Support/TemporaryFolder.h>

namespace quorl::test {

/// A D-Bus daemon that replaces the system bus and the session bus for a test: DBUS_SYSTEM_BUS_ADDRESS and
/// DBUS_SESSION_BUS_ADDRESS point to it while it exists. Every user of the machine may use it.
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

/// A service of python-dbusmock with methods that a test adds.
class ServiceMock {
 public:
  ServiceMock(std::string name, std::string path, std::string interface);
  bool isRunning() const { return running_; }
  /// `code` is Python, as python-dbusmock takes it.
  void addMethod(const std::string& method, const std::string& in, const std::string& out,
                 const std::string& code);
  /// The log of the calls.
  ChildProgram& program() { return *mock_; }

 private:
  const std::string name_;
  const std::string path_;
  const std::string interface_;
  std::unique_ptr<ChildProgram> mock_;
  bool running_ = false;
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
  /// A property of type s, or of type b, of a session.
  void setSession(const std::string& id, const std::string& property, const std::string& value);
  void setLocked(const std::string& id, bool isLocked);

  struct Inhibitor {
    std::string what;
    std::string who;
    std::string why;
    std::string mode;
    bool operator==(const Inhibitor&) const = default;
  };
  std::vector<Inhibitor> inhibitors() const;
  /// The log of the calls.
  ChildProgram& program() { return *mock_; }

 private:
  std::unique_ptr<ChildProgram> mock_;
  bool running_ = false;
};

}  // namespace quorl::test
