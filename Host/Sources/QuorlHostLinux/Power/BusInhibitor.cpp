// SPDX-License-Identifier: GPL-3.0-or-later
#include <QuorlHostLinux/Power/BusInhibitor.h>

#include <future>
#include <utility>

#include <fmt/format.h>

namespace quorl {

BusInhibitor::BusInhibitor(Service service)
    : service_(std::move(service)),
      loop_(
          {.connected = [this](sd_bus* bus) { connected(bus); }, .disconnected = [this] { isHeld_ = false; }},
          service_.open) {
  // The loop tries to connect before it runs posted work.
  std::promise<bool> taken;
  loop_.post([this, &taken](sd_bus*) { taken.set_value(isHeld_); });
  wasTaken_ = taken.get_future().get();
}

BusInhibitor::~BusInhibitor() {
  std::promise<void> dropped;
  loop_.post([this, &dropped](sd_bus* bus) {
    service_.drop(bus);
    dropped.set_value();
  });
  dropped.get_future().wait();
}

void BusInhibitor::connected(sd_bus* bus) {
  const auto match = fmt::format(
      "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
      "member='NameOwnerChanged',arg0='{}'",
      service_.name);
  sd_bus_add_match(bus, nullptr, match.c_str(), onOwnerChanged, this);
  isHeld_ = service_.take(bus);
}

int BusInhibitor::onOwnerChanged(sd_bus_message* message, void* self, sd_bus_error*) {
  auto& inhibitor = *static_cast<BusInhibitor*>(self);
  const char* name = nullptr;
  const char* before = nullptr;
  const char* after = nullptr;
  if (sd_bus_message_read(message, "sss", &name, &before, &after) < 0) return 0;
  // The call that took the inhibitor may itself have started the service.
  const bool startedByUs = inhibitor.isHeld_ && before[0] == '\0';
  if (!startedByUs)
    inhibitor.isHeld_ = after[0] != '\0' && inhibitor.service_.take(sd_bus_message_get_bus(message));
  return 0;
}

}  // namespace quorl
