// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <expected>
#include <memory>
#include <optional>
#include <string>

#include <systemd/sd-bus.h>

namespace quorl {

// Short forms of sd-bus(3) for the adapters that use D-Bus.

struct BusCloser {
  void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using BusPointer = std::unique_ptr<sd_bus, BusCloser>;

struct MessageCloser {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessagePointer = std::unique_ptr<sd_bus_message, MessageCloser>;

/// The system bus, which DBUS_SYSTEM_BUS_ADDRESS may name; none when there is no bus. Calls time out after
/// two seconds.
BusPointer openSystemBus();
/// The bus of the user's session, which DBUS_SESSION_BUS_ADDRESS may name; none when there is no bus.
BusPointer openSessionBus();

/// One object of one service.
struct BusObject {
  const char* service;
  std::string path;
  const char* interface;
};

struct BusError {
  std::string name;  // like "org.freedesktop.DBus.Error.AccessDenied"
  std::string text;
};

/// The error of a call, which becomes empty. `result` is the negative number that the call returned.
BusError takeError(sd_bus_error& error, int result);

/// Calls a method and waits for its reply. `types` and `arguments` are those of sd_bus_message_append(3).
template <class... Arguments>
std::expected<MessagePointer, BusError> callMethod(sd_bus* bus, const BusObject& object, const char* method,
                                                   const char* types, Arguments... arguments) {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  const int result = sd_bus_call_method(bus, object.service, object.path.c_str(), object.interface, method,
                                        &error, &reply, types, arguments...);
  MessagePointer owned(reply);
  if (result < 0) return std::unexpected(takeError(error, result));
  return owned;
}

/// A property of type s, of type b, and one of type (so). Absent on any failure.
std::optional<std::string> readString(sd_bus* bus, const BusObject& object, const char* property);
std::optional<bool> readBool(sd_bus* bus, const BusObject& object, const char* property);
struct NamedObject {
  std::string name;
  std::string path;
};
std::optional<NamedObject> readNamedObject(sd_bus* bus, const BusObject& object, const char* property);

}  // namespace quorl
