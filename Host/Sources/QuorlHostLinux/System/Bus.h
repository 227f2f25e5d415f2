// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <systemd/sd-bus.h>

namespace quorl {

// Short forms of sd-bus(3) for the sources of this folder.

struct BusCloser {
  void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using BusPointer = std::unique_ptr<sd_bus, BusCloser>;

struct MessageCloser {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessagePointer = std::unique_ptr<sd_bus_message, MessageCloser>;

/// The system bus, which DBUS_SYSTEM_BUS_ADDRESS may name; none when there is no bus.
BusPointer openSystemBus();

/// One object of one service.
struct BusObject {
  const char* service;
  std::string path;
  const char* interface;
};

/// A property of type s, and one of type (so). Absent on any failure.
std::optional<std::string> readString(sd_bus* bus, const BusObject& object, const char* property);
struct NamedObject {
  std::string name;
  std::string path;
};
std::optional<NamedObject> readNamedObject(sd_bus* bus, const BusObject& object, const char* property);

}  // namespace quorl
