// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/System/AvahiAdvertiser.h>

#include <atomic>
#include <map>

#include <QuorlHostLinux/System/BusLoop.h>

namespace quorl {

namespace {

constexpr const char* avahi = "org.freedesktop.Avahi";
constexpr const char* serverInterface = "org.freedesktop.Avahi.Server";
constexpr const char* groupInterface = "org.freedesktop.Avahi.EntryGroup";
constexpr const char* collisionError = "org.freedesktop.Avahi.CollisionError";

// avahi-common/defs.h: AvahiServerState and AvahiEntryGroupState.
constexpr std::int32_t serverRunning = 2;
constexpr std::int32_t groupCollision = 3;

constexpr std::int32_t anyInterface = -1;
constexpr std::int32_t anyProtocol = -1;
constexpr int maxAlternatives = 100;
constexpr std::size_t maxLabelSize = 63;

enum class CallResult : std::uint8_t { done, collision, failed };

struct Call {
  CallResult result;
  MessagePointer reply;
};

MessagePointer newCall(sd_bus* bus, const char* path, const char* interface, const char* method) {
  sd_bus_message* message = nullptr;
  sd_bus_message_new_method_call(bus, &message, avahi, path, interface, method);
  // The machine's configuration decides whether a responder runs.
  if (message) sd_bus_message_set_auto_start(message, 0);
  return MessagePointer(message);
}

Call finish(sd_bus* bus, const MessagePointer& message) {
  if (!message) return {CallResult::failed, nullptr};
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  const int result = sd_bus_call(bus, message.get(), 0, &error, &reply);
  const bool collision = sd_bus_error_has_name(&error, collisionError) > 0;
  sd_bus_error_free(&error);
  if (result >= 0) return {CallResult::done, MessagePointer(reply)};
  return {collision ? CallResult::collision : CallResult::failed, nullptr};
}

Call callPlain(sd_bus* bus, const char* path, const char* interface, const char* method) {
  return finish(bus, newCall(bus, path, interface, method));
}

std::string alternativeName(sd_bus* bus, const std::string& name) {
  const auto message = newCall(bus, "/", serverInterface, "GetAlternativeServiceName");
  if (!message) return {};
  sd_bus_message_append(message.get(), "s", name.c_str());
  const Call call = finish(bus, message);
  const char* text = nullptr;
  if (!call.reply || sd_bus_message_read(call.reply.get(), "s", &text) < 0) return {};
  return text;
}

CallResult addService(sd_bus* bus, const std::string& group, const std::string& name, const std::string& type,
                      std::uint16_t port) {
  const auto message = newCall(bus, group.c_str(), groupInterface, "AddService");
  if (!message) return CallResult::failed;
  sd_bus_message_append(message.get(), "iiussssqaay", anyInterface, anyProtocol, std::uint32_t{0},
                        name.c_str(), type.c_str(), "", "", port, 0);
  return finish(bus, message).result;
}

}  // namespace

/// All members except `add` and `remove` run on the loop's thread.
class AvahiAdvertiser::Registrar {
 public:
  using ID = std::uint64_t;

  ID add(std::string name, std::string type, std::uint16_t port) {
    const ID id = ++lastID_;
    loop_.post(
        [this, id, service = Service{std::move(name), std::move(type), port, {}}](sd_bus* bus) mutable {
          Service& added = services_[id] = std::move(service);
          if (bus && isRunning(bus)) publish(bus, added);
        });
    return id;
  }

  void remove(ID id) {
    loop_.post([this, id](sd_bus* bus) {
      const auto found = services_.find(id);
      if (found == services_.end()) return;
      if (bus) withdraw(bus, found->second);
      services_.erase(found);
    });
  }

 private:
  struct Service {
    std::string name;  // as last published; an alternative one after a collision
    std::string type;
    std::uint16_t port;
    std::string group;  // the entry group's object path, empty while there is none
  };

  static bool isRunning(sd_bus* bus) {
    const Call call = callPlain(bus, "/", serverInterface, "GetState");
    std::int32_t state = 0;
    return call.reply && sd_bus_message_read(call.reply.get(), "i", &state) >= 0 && state == serverRunning;
  }

  static void withdraw(sd_bus* bus, Service& service) {
    if (!service.group.empty()) callPlain(bus, service.group.c_str(), groupInterface, "Free");
    service.group.clear();
  }

  static void publish(sd_bus* bus, Service& service) {
    withdraw(bus, service);
    const Call created = callPlain(bus, "/", serverInterface, "EntryGroupNew");
    const char* path = nullptr;
    if (!created.reply || sd_bus_message_read(created.reply.get(), "o", &path) < 0) return;
    service.group = path;
    for (int tries = 0; tries < maxAlternatives; ++tries) {
      const auto added = addService(bus, service.group, service.name, service.type, service.port);
      if (added == CallResult::done) {
        callPlain(bus, service.group.c_str(), groupInterface, "Commit");
        return;
      }
      if (added == CallResult::failed) break;
      service.name = alternativeName(bus, service.name);
      if (service.name.empty()) break;
    }
    withdraw(bus, service);
  }

  void connected(sd_bus* bus) {
    const auto match = [&](const char* rule, sd_bus_message_handler_t handler) {
      sd_bus_add_match(bus, nullptr, rule, handler, this);
    };
    match(
        "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
        "member='NameOwnerChanged',arg0='org.freedesktop.Avahi'",
        onOwnerChanged);
    match(
        "type='signal',sender='org.freedesktop.Avahi',interface='org.freedesktop.Avahi.Server',"
        "member='StateChanged'",
        onServerState);
    match(
        "type='signal',sender='org.freedesktop.Avahi',interface='org.freedesktop.Avahi.EntryGroup',"
        "member='StateChanged'",
        onGroupState);
    if (isRunning(bus)) publishAll(bus);
  }

  void disconnected() {
    for (auto& [id, service] : services_) service.group.clear();
  }

  void publishAll(sd_bus* bus) {
    for (auto& [id, service] : services_) publish(bus, service);
  }

  // The groups end with their daemon. A new daemon reports its state, but may have done so before its name
  // was seen.
  static int onOwnerChanged(sd_bus_message* message, void* self, sd_bus_error*) {
    auto* registrar = static_cast<Registrar*>(self);
    registrar->disconnected();
    sd_bus* bus = sd_bus_message_get_bus(message);
    const char* name = nullptr;
    const char* before = nullptr;
    const char* now = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &before, &now) < 0 || !*now) return 0;
    if (isRunning(bus)) registrar->publishAll(bus);
    return 0;
  }

  static int onServerState(sd_bus_message* message, void* self, sd_bus_error*) {
    auto* registrar = static_cast<Registrar*>(self);
    sd_bus* bus = sd_bus_message_get_bus(message);
    std::int32_t state = 0;
    if (sd_bus_message_read(message, "i", &state) < 0) return 0;
    if (state == serverRunning) {
      registrar->publishAll(bus);
      return 0;
    }
    // The daemon is changing its host name: services under the old name have to be removed.
    for (auto& [id, service] : registrar->services_) withdraw(bus, service);
    return 0;
  }

  static int onGroupState(sd_bus_message* message, void* self, sd_bus_error*) {
    auto* registrar = static_cast<Registrar*>(self);
    sd_bus* bus = sd_bus_message_get_bus(message);
    std::int32_t state = 0;
    if (sd_bus_message_read(message, "i", &state) < 0 || state != groupCollision) return 0;
    for (auto& [id, service] : registrar->services_) {
      if (service.group != sd_bus_message_get_path(message)) continue;
      const std::string other = alternativeName(bus, service.name);
      if (other.empty()) return 0;
      service.name = other;
      publish(bus, service);
    }
    return 0;
  }

  std::atomic<ID> lastID_ = 0;
  std::map<ID, Service> services_;
  // Last, so that its thread ends before the members it uses.
  BusLoop loop_{
      {.connected = [this](sd_bus* bus) { connected(bus); }, .disconnected = [this] { disconnected(); }}};
};

class AvahiAdvertiser::Handle final : public Registration {
 public:
  Handle(std::shared_ptr<Registrar> registrar, Registrar::ID id)
      : registrar_(std::move(registrar)), id_(id) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() override { registrar_->remove(id_); }

 private:
  std::shared_ptr<Registrar> registrar_;
  Registrar::ID id_;
};

AvahiAdvertiser::AvahiAdvertiser() : registrar_(std::make_shared<Registrar>()) {}
AvahiAdvertiser::~AvahiAdvertiser() = default;

std::unique_ptr<ServiceAdvertiser::Registration> AvahiAdvertiser::advertise(const std::string& name,
                                                                            const std::string& type,
                                                                            std::uint16_t port) {
  return std::make_unique<Handle>(registrar_, registrar_->add(serviceInstanceLabel(name), type, port));
}

std::string serviceInstanceLabel(const std::string& name) {
  if (name.size() <= maxLabelSize) return name;
  std::size_t size = maxLabelSize;
  const auto continues = [&](std::size_t at) {
    return (static_cast<unsigned char>(name[at]) & 0xC0U) == 0x80U;
  };
  while (size > 0 && continues(size)) --size;
  return name.substr(0, size);
}

}  // namespace quorl
