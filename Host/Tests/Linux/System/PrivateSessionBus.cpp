// SPDX-License-Identifier: GPL-3.0-or-later
#include <Linux/System/PrivateSessionBus.h>

#include <cstdlib>

#include <systemd/sd-bus.h>

namespace quorl::test {

PrivateSessionBus::PrivateSessionBus() {
  daemon_ = std::make_unique<ChildProgram>(
      std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--nosyslog", "--print-address"});
  // It prints its address in one line. A warning may come before.
  if (!daemon_->waitForOutput("unix:") || !daemon_->waitForOutput(",guid=")) return;
  const std::string& output = daemon_->output();
  const auto start = output.find("unix:");
  address_ = output.substr(start, output.find(',', start) - start);
  ::setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateSessionBus::~PrivateSessionBus() {
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

bool PrivateSessionBus::isOwned(const std::string& name) const {
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0) return false;
  const bool owned = sd_bus_get_name_creds(bus, name.c_str(), 0, nullptr) >= 0;
  sd_bus_flush_close_unref(bus);
  return owned;
}

}  // namespace quorl::test
