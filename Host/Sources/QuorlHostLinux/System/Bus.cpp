// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/Bus.h>

#include <cstring>

namespace quorl {

namespace {

constexpr std::uint64_t callTimeoutMicroseconds = 2'000'000;

MessagePointer readProperty(sd_bus* bus, const BusObject& object, const char* property, const char* type) {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  sd_bus_get_property(bus, object.service, object.path.c_str(), object.interface, property, &error, &reply,
                      type);
  sd_bus_error_free(&error);
  return MessagePointer(reply);
}

BusPointer open(int (*connect)(sd_bus**)) {
  sd_bus* bus = nullptr;
  if (connect(&bus) < 0) return nullptr;
  BusPointer owned(bus);
  sd_bus_set_method_call_timeout(bus, callTimeoutMicroseconds);
  return owned;
}

}  // namespace

BusPointer openSystemBus() {
  return open(sd_bus_open_system);
}

BusPointer openSessionBus() {
  return open(sd_bus_open_user);
}

BusError takeError(sd_bus_error& error, int result) {
  BusError taken{error.name ? error.name : "", error.message ? error.message : std::strerror(-result)};
  sd_bus_error_free(&error);
  return taken;
}

std::optional<bool> readBool(sd_bus* bus, const BusObject& object, const char* property) {
  const auto reply = readProperty(bus, object, property, "b");
  int value = 0;
  if (!reply || sd_bus_message_read(reply.get(), "b", &value) < 0) return std::nullopt;
  return value != 0;
}

std::optional<std::string> readString(sd_bus* bus, const BusObject& object, const char* property) {
  const auto reply = readProperty(bus, object, property, "s");
  const char* text = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "s", &text) < 0) return std::nullopt;
  return text;
}

std::optional<NamedObject> readNamedObject(sd_bus* bus, const BusObject& object, const char* property) {
  const auto reply = readProperty(bus, object, property, "(so)");
  const char* name = nullptr;
  const char* path = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "(so)", &name, &path) < 0) return std::nullopt;
  return NamedObject{name, path};
}

}  // namespace quorl
